#include "platform/media_file.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "core/error.h"
#include "core/file_identity.h"
#include "core/open_below.h"
#include "core/trusted_folder.h"

namespace {

constexpr uid_t kRoot = 0;

struct HeldFolder {
  std::string path;
  Descriptor folder;
};

HeldFolder& Held() {
  static HeldFolder held;
  return held;
}

// FOUND, which nothing is known of yet, open for reading.
Descriptor ReadRegular(const Descriptor& found) {
  const auto status = found ? StatusOf(found) : std::nullopt;
  if (!status) return Descriptor();
  if (S_ISREG(status->st_mode)) return Reopen(found, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  errno = EINVAL;
  return Descriptor();
}

Descriptor Refused() {
  errno = EPERM;
  return Descriptor();
}

// What the target of a link in FOLDER leads to, further links included. A name in /proc of a file that is
// open in this process is none: it would lend our rights.
Descriptor FindTarget(const Descriptor& folder, const std::string& target) {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_MAGICLINKS;
  Descriptor found(static_cast<int>(syscall(SYS_openat2, folder.get(), target.c_str(), &how, sizeof(how))));
  if (found || errno != ENOSYS) return found;
  // A kernel that cannot tell those names apart; root's rights are not lent there.
  return geteuid() == kRoot ? Refused()
                            : Descriptor(openat(folder.get(), target.c_str(), O_PATH | O_CLOEXEC));
}

// What is behind a link and may not be read is refused for the link's sake.
Descriptor ReadTarget(const Descriptor& found) {
  Descriptor opened = ReadRegular(found);
  return opened || errno != EACCES ? std::move(opened) : Refused();
}

// With what its maker may read himself.
Descriptor ReadAs(uid_t maker, const Descriptor& folder, const std::string& target) {
  const FileIdentity as_maker(maker);
  return as_maker ? ReadTarget(FindTarget(folder, target)) : Refused();
}

// What lies in the library is everybody's in it; else the maker of the link has to own the file.
bool MayLeadTo(const Descriptor& found, uid_t maker) {
  const auto status = StatusOf(found);
  if (status && status->st_uid == maker) return true;
  const auto place = PathOf(found);
  return place && RelativeTo(Held().path, *place);
}

Descriptor Follow(const Descriptor& folder, const Descriptor& link, uid_t maker) {
  const auto target = TargetOf(link);
  if (!target) return Descriptor();
  const uid_t reader = geteuid();
  if (reader == kRoot && maker != kRoot) return ReadAs(maker, folder, *target);
  const Descriptor found = FindTarget(folder, *target);
  const bool trusted = maker == reader || maker == kRoot;
  if (found && !trusted && !MayLeadTo(found, maker)) return Refused();
  return ReadTarget(found);
}

// The file may be a link, its folder RELATIVE_FOLDER none.
Descriptor OpenLink(const std::string& relative_folder, const std::string& name) {
  const Descriptor folder = OpenBelow(Held().folder.get(), relative_folder, O_PATH | O_DIRECTORY);
  if (!folder) return Descriptor();
  const Descriptor link(openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  const auto status = link ? StatusOf(link) : std::nullopt;
  if (!status) return Descriptor();
  return S_ISLNK(status->st_mode) ? Follow(folder, link, status->st_uid) : ReadRegular(link);
}

Descriptor OpenHeld(const std::string& path) {
  const auto relative = RelativeTo(Held().path, path);
  if (!relative) {
    errno = EXDEV;
    return Descriptor();
  }
  const Descriptor found = OpenBelow(Held().folder.get(), *relative, O_PATH);
  if (found || errno != ELOOP) return ReadRegular(found);
  const std::size_t slash = relative->rfind('/');
  if (slash == relative->npos) return OpenLink(".", *relative);
  return OpenLink(relative->substr(0, slash), relative->substr(slash + 1));
}

int Hold(const char* folder) {
  Held() = {};
  if (folder == nullptr) return 0;
  Descriptor opened = OpenTrustedFolder(folder);
  if (!opened) return -1;
  Held() = {folder, std::move(opened)};
  return 0;
}

}  // namespace

int KAVOMediaFolderHold(const char* folder) {
  return Contained(-1, [&] {
    const int held = Hold(folder);
    if (held < 0) RECORD_ERROR(errno);
    return held;
  });
}

int KAVOMediaOpen(const char* path) {
  return Contained(-1, [&] {
    errno = EINVAL;
    Descriptor opened;
    if (path != nullptr)
      opened = Held().folder ? OpenHeld(path) : ReadRegular(Descriptor(open(path, O_PATH | O_CLOEXEC)));
    if (!opened) RECORD_ERROR(errno);
    return opened.Release();
  });
}
