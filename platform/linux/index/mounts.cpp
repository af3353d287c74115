#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"
#include "base/path_below.h"
#include "base/read_on.h"
#include "core/error.h"
#include "index/mount_table.h"
#include "index/personal_folder.h"
#include "platform/index.h"
#include "share/share_folder.h"

namespace {

// The mount table, read again whenever the kernel says that it has changed.
class MountWatch {
 public:
  std::shared_ptr<const MountTable> Table() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!IsOpenHere()) Open();
    if (table_ == nullptr || HasChanged()) table_ = Read();
    return table_;
  }

 private:
  // A child process shares the open file, and of two that ask only one would be told.
  bool IsOpenHere() const { return list_ && owner_ == getpid(); }

  void Open() {
    list_ = FileDescriptor(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    owner_ = getpid();
    table_ = nullptr;
  }

  bool HasChanged() const {
    pollfd question{list_.get(), POLLPRI, 0};
    return poll(&question, 1, 0) != 0 && (question.revents & (POLLPRI | POLLERR)) != 0;
  }

  std::shared_ptr<const MountTable> Read() const {
    std::string text;
    lseek(list_.get(), 0, SEEK_SET);
    static_cast<void>(ReadOn(list_.get(), text.max_size(), text));
    return std::make_shared<const MountTable>(ParseMountTable(text));
  }

  std::mutex mutex_;
  FileDescriptor list_;
  pid_t owner_ = -1;
  std::shared_ptr<const MountTable> table_;
};

// The photo folder OWNER's, or the shared one that PATH lies in; empty when there is none.
std::string PhotoFolderOf(const std::string& path, const PathOwner& owner) {
  if (owner.personal) return owner.personal->folder;
  const std::string shared = ShareFolder("photo");
  return LiesIn(path, shared) ? shared : "";
}

struct Existing {
  std::string path;
  dev_t device;
};

// PATH or, when it is gone, the nearest folder around it that is there.
std::optional<Existing> NearestExisting(std::string path) {
  while (!path.empty()) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) return Existing{path, status.st_dev};
    path.erase(std::min(path.rfind('/'), path.size()));
  }
  return std::nullopt;
}

std::string WithoutLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
  return real != nullptr ? real.get() : path;
}

std::shared_ptr<const MountTable> CurrentMounts() {
  static MountWatch watch;
  return watch.Table();
}

// A mount whose server is gone never answers, so what the names tell already is not asked of it.
bool IsForeignByName(const std::string& path, const std::string& folder) {
  const bool plain = path.find("/..") == std::string::npos;
  return plain && LiesOnForeignMount(*CurrentMounts(), path, folder);
}

bool IsForeign(const std::string& path) {
  const PathOwner owner = OwnerOf(path);
  if (!owner.known) return true;
  const std::string folder = PhotoFolderOf(path, owner);
  if (folder.empty()) return false;
  if (IsForeignByName(path, folder)) return true;
  const auto existing = NearestExisting(path);
  struct stat status {};
  if (!existing.has_value() || stat(folder.c_str(), &status) != 0) return false;
  // As a rule all of a library lies on one device, and that is all there is to know.
  return existing->device != status.st_dev &&
         LiesOnForeignMount(*CurrentMounts(), WithoutLinks(existing->path), WithoutLinks(folder));
}

}  // namespace

bool IndexIsPathRemoteOrImageMount(const char* path) {
  // What cannot be found out counts as foreign: what is left out keeps its rows.
  return path != nullptr && Contained(true, [&] { return IsForeign(path); });
}
