#include "index/mount_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "base/path_below.h"

namespace {

using namespace std::string_view_literals;

constexpr std::array kRemoteTypes = {
    "9p"sv,
    "afs"sv,
    "ceph"sv,
    "cifs"sv,
    "coda"sv,
    "davfs"sv,
    "fuse.ceph"sv,
    "fuse.curlftpfs"sv,
    "fuse.davfs"sv,
    "fuse.gcsfuse"sv,
    "fuse.glusterfs"sv,
    "fuse.gvfsd-fuse"sv,
    "fuse.rclone"sv,
    "fuse.s3fs"sv,
    "fuse.sshfs"sv,
    "glusterfs"sv,
    "lustre"sv,
    "ncpfs"sv,
    "nfs"sv,
    "nfs4"sv,
    "smb3"sv,
    "smbfs"sv,
};
constexpr std::array kImageTypes = {
    "fuse.archivemount"sv, "fuse.fuseiso"sv, "fuse.squashfuse"sv, "iso9660"sv, "squashfs"sv, "udf"sv,
};
static_assert(std::is_sorted(kRemoteTypes.begin(), kRemoteTypes.end()));
static_assert(std::is_sorted(kImageTypes.begin(), kImageTypes.end()));

template <std::size_t N>
bool Has(const std::array<std::string_view, N>& types, std::string_view type) {
  return std::binary_search(types.begin(), types.end(), type);
}

// "host:/folder", "//host/share".
bool NamesAnotherMachine(std::string_view source) {
  return source.starts_with("//") || (!source.starts_with('/') && source.find(":/") != source.npos);
}

bool IsOctal(char digit) {
  return digit >= '0' && digit <= '7';
}

// The list writes blanks, line ends and backslashes as a backslash and three octal digits.
std::string Unescaped(std::string_view field) {
  constexpr std::size_t kEscapeLength = 4;
  constexpr int kBase = 8;
  std::string text;
  while (!field.empty()) {
    const std::string_view escape = field.substr(0, kEscapeLength);
    if (escape.size() == kEscapeLength && escape[0] == '\\' &&
        std::all_of(escape.begin() + 1, escape.end(), IsOctal)) {
      int value = 0;
      for (const char digit : escape.substr(1)) value = value * kBase + (digit - '0');
      text += static_cast<char>(value);
      field.remove_prefix(kEscapeLength);
    } else {
      text += field.front();
      field.remove_prefix(1);
    }
  }
  return text;
}

// What separators divide; a field may be empty, as a source may.
std::vector<std::string_view> FieldsOf(std::string_view text, char separator) {
  std::vector<std::string_view> fields;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    fields.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return fields;
}

// The kernel tells of each FUSE file system whose process serves it.
bool IsServedByUser(std::string_view type, std::string_view options) {
  if (type != "fuse" && !type.starts_with("fuse.")) return false;
  const auto fields = FieldsOf(options, ',');
  return std::any_of(fields.begin(), fields.end(), [](std::string_view option) {
    return option.starts_with("user_id=") && option != "user_id=0";
  });
}

// "id parent major:minor root POINT options [tags...] - TYPE SOURCE options"
std::optional<Mount> ParseLine(std::string_view line) {
  constexpr std::ptrdiff_t kPoint = 4;
  constexpr std::ptrdiff_t kFirstTag = 6;
  constexpr std::ptrdiff_t kOptions = 3;
  const auto fields = FieldsOf(line, ' ');
  if (std::ssize(fields) <= kFirstTag) return std::nullopt;
  const auto separator = std::find(fields.begin() + kFirstTag, fields.end(), "-");
  const std::ptrdiff_t count = fields.end() - separator;
  if (count < kOptions) return std::nullopt;
  const std::string_view options = count > kOptions ? separator[kOptions] : "";
  return Mount{Unescaped(fields[kPoint]), std::string(separator[1]), Unescaped(separator[2]),
               IsServedByUser(separator[1], options)};
}

}  // namespace

MountTable ParseMountTable(std::string_view text) {
  MountTable table;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (auto mount = ParseLine(text.substr(0, end))) table.push_back(*std::move(mount));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return table;
}

bool IsRemoteOrImage(const Mount& mount) {
  return Has(kRemoteTypes, mount.type) || Has(kImageTypes, mount.type) || NamesAnotherMachine(mount.source) ||
         mount.source.starts_with("/dev/loop");
}

bool IsHeldBy(const Mount& mount, std::string_view path) {
  return mount.point == "/" || IsOrLiesBelow(path, mount.point);
}

bool IsForeignTo(uid_t caller, const Mount& mount) {
  constexpr uid_t kRoot = 0;
  return IsRemoteOrImage(mount) || (caller == kRoot && mount.served_by_user);
}

bool LiesOnForeignMount(const MountTable& table, std::string_view path, std::string_view folder,
                        uid_t caller) {
  const Mount* mount = MountOf(table, path);
  return mount != nullptr && IsForeignTo(caller, *mount) && mount != MountOf(table, folder);
}

const Mount* MountOf(const MountTable& table, std::string_view path) {
  const Mount* best = nullptr;
  for (const Mount& mount : table) {
    if (IsHeldBy(mount, path) && (best == nullptr || mount.point.size() >= best->point.size())) best = &mount;
  }
  return best;
}
