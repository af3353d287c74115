#include "files/file_counter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <variant>

#include "base/file_descriptor.h"
#include "files/looking.h"
#include "files/media_files.h"
#include "files/name_list.h"
#include "files/open_folder.h"
#include "platform/files.h"

namespace {

// What NAME is, links followed only to files: S_IFREG, S_IFDIR or something else.
mode_t TypeOf(int folder, const dirent& entry) {
  if (entry.d_type == DT_REG) return S_IFREG;
  if (entry.d_type == DT_DIR) return S_IFDIR;
  struct stat status {};
  if (fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  if (!S_ISLNK(status.st_mode)) return status.st_mode & S_IFMT;
  const bool leads_to_file = fstatat(folder, entry.d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
  return leads_to_file ? S_IFREG : 0;
}

}  // namespace

FileCounter::FileCounter(std::string folder)
    : thread_([this, folder = std::move(folder)] {
        const Looking looking;
        const FileDescriptor root(looking ? open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
        if (root && Count("", root.get())) finished_ = true;
      }) {}

FileCounter::~FileCounter() {
  stop_ = true;
  thread_.join();
}

std::optional<std::size_t> FileCounter::total() const {
  if (!finished_) return std::nullopt;
  return count_.load();
}

bool FileCounter::Count(const std::string& folder, int root) {
  NameList<std::monostate> folders;
  if (const OpenFolder listing(KAVOBeneathOpenFolder(root, folder.c_str())); listing) {
    while (const dirent* entry = listing.Next()) {
      if (stop_) return false;
      if (*entry->d_name == '.' || entry->d_name == kSideFolder) continue;
      const mode_t type = TypeOf(listing.descriptor(), *entry);
      if (type == S_IFREG && MediaKindOf(entry->d_name)) ++count_;
      if (type == S_IFDIR) folders.Add(entry->d_name, {});
    }
  }
  for (std::size_t i = 0; i < folders.size(); ++i) {
    const std::string below = folder.empty() ? "" : folder + "/";
    if (!Count(below + std::string(folders.name(i)), root)) return false;
  }
  return true;
}
