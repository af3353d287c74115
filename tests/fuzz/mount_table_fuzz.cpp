// Lists of mounts of any bytes: the mounts that were read read as the same from the list that the kernel
// would write of them, and the one that holds a path is the innermost.
#include <cstdint>
#include <string>

#include "base/path_below.h"
#include "fuzz/fuzz_input.h"
#include "index/mount_table.h"

namespace {

// As the kernel writes a field.
std::string Escaped(const std::string& field) {
  constexpr const char* kOctal = "01234567";
  std::string text;
  for (const char c : field) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::string_view(" \t\n\\#").find(c) == std::string_view::npos) {
      text += c;
    } else {
      text += {'\\', kOctal[byte >> 6], kOctal[byte >> 3 & 7], kOctal[byte & 7]};
    }
  }
  return text;
}

std::string Listed(const MountTable& table) {
  std::string text;
  for (const Mount& mount : table) {
    text += "22 1 0:21 / " + Escaped(mount.point) + " rw shared:1 - " + mount.type + " " +
            Escaped(mount.source) + " rw" + (mount.served_by_user ? ",user_id=1" : "") + "\n";
  }
  return text;
}

bool Same(const MountTable& a, const MountTable& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Mount& one, const Mount& other) {
    return one.point == other.point && one.type == other.type && one.source == other.source &&
           one.served_by_user == other.served_by_user;
  });
}

void CheckHolder(const MountTable& table, const std::string& path) {
  const Mount* holder = MountOf(table, path);
  for (const Mount& mount : table) {
    const bool holds = mount.point == "/" || IsOrLiesBelow(path, mount.point);
    Require(!holds || (holder != nullptr && holder->point.size() >= mount.point.size()), "not the innermost",
            path);
  }
  for (const uid_t caller : {uid_t{0}, uid_t{1}})
    Require(!LiesOnForeignMount(table, path, path, caller), "foreign to itself", path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = TextOf(data, size);
  const MountTable table = ParseMountTable(text);
  Require(table.size() <= text.size(), "more mounts than bytes");
  Require(Same(ParseMountTable(Listed(table)), table), "a mount changed", text);
  for (const Mount& mount : table) {
    CheckHolder(table, mount.point);
    CheckHolder(table, mount.point + "/x");
  }
  return 0;
}
