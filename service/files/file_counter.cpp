#include "files/file_counter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <variant>

#include "base/file_descriptor.h"
#include "files/looking.h"
#include "files/media_files.h"
#include "files/name_list.h"
#include "platform/files.h"
#include "platform/index.h"

FileCounter::FileCounter(std::string folder)
    : root_path_(std::move(folder)), thread_([this] {
        const Looking looking;
        const FileDescriptor root(looking ? open(root_path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
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

bool FileCounter::LeadsElsewhere(const std::string& path) const {
  return KAVOIndexLeadsToForeignMount(root_path_.c_str(), (root_path_ + "/" + path).c_str());
}

mode_t FileCounter::TypeOf(const OpenFolder& listing, const dirent& entry, const std::string& folder) const {
  if (entry.d_type == DT_REG) return S_IFREG;
  if (entry.d_type == DT_DIR) return S_IFDIR;
  struct stat status {};
  if (LeadsElsewhere(folder + "/" + entry.d_name)) return 0;
  if (fstatat(listing.descriptor(), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  if (!S_ISLNK(status.st_mode)) return status.st_mode & S_IFMT;
  const bool leads_to_file =
      fstatat(listing.descriptor(), entry.d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
  return leads_to_file ? S_IFREG : 0;
}

bool FileCounter::Count(const std::string& folder, int root) {
  if (!folder.empty() && LeadsElsewhere(folder)) return true;
  NameList<std::monostate> folders;
  if (const OpenFolder listing(KAVOBeneathOpenFolder(root, folder.c_str())); listing) {
    while (const dirent* entry = listing.Next()) {
      if (stop_) return false;
      if (*entry->d_name == '.' || entry->d_name == kSideFolder) continue;
      const mode_t type = TypeOf(listing, *entry, folder);
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
