#include "core/read_for.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "core/open_below.h"

namespace {
constexpr uid_t kRoot = 0;
}  // namespace

FileDescriptor ReadRegular(const FileDescriptor& found) {
  const auto status = found ? StatusOf(found) : std::nullopt;
  if (!status) return FileDescriptor();
  if (S_ISREG(status->st_mode)) return Reopen(found, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  errno = EINVAL;
  return FileDescriptor();
}

bool NeedsOwnersRights(const FileDescriptor& found) {
  const auto status = StatusOf(found);
  return geteuid() == kRoot && status && S_ISREG(status->st_mode) && status->st_nlink > 1;
}

FileDescriptor ReadForAll(const FileDescriptor& found, const FileDescriptor& folder,
                          const FileDescriptor& library, People people) {
  if (NeedsOwnersRights(found)) {
    const auto of_folder = StatusOf(folder);
    const auto of_library = StatusOf(library);
    if (!of_folder || !of_library) return FileDescriptor();
    people.insert(people.end(), {of_folder->st_uid, of_library->st_uid});
  }
  FileDescriptor opened = AsEach(people, [&] { return ReadRegular(found); });
  if (!opened && errno == EACCES) errno = EPERM;
  return opened;
}

FileDescriptor ReadBelow(const FileDescriptor& library, const std::string& relative) {
  const std::size_t slash = relative.rfind('/');
  const std::string above = slash == relative.npos ? "." : relative.substr(0, slash);
  const FileDescriptor folder = OpenBelow(library.get(), above, O_PATH | O_DIRECTORY);
  const FileDescriptor found =
      folder ? OpenBelow(folder.get(), relative.substr(slash + 1), O_PATH) : FileDescriptor();
  return found ? ReadForAll(found, folder, library, {}) : FileDescriptor();
}
