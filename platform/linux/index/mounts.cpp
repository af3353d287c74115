#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <string>

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
  // Null when it cannot be read.
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
    if (!list_ || lseek(list_.get(), 0, SEEK_SET) != 0 || !ReadOn(list_.get(), text.max_size(), text))
      return nullptr;
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

std::string WithoutLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
  return real != nullptr ? real.get() : path;
}

std::shared_ptr<const MountTable> CurrentMounts() {
  static MountWatch watch;
  return watch.Table();
}

// Where the link PATH leads; empty for what is none, or is not there.
std::string TargetOf(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::string TakeName(std::string& way) {
  way.erase(0, std::min(way.find_first_not_of('/'), way.size()));
  std::string name = way.substr(0, way.find('/'));
  way.erase(0, name.size());
  return name;
}

// WAY name by name, whose links are read and not followed: a mount whose server is gone never answers, so
// nothing is asked of one that is foreign to the real path FOLDER.
bool LeadsToForeignMount(const MountTable& table, std::string way, const std::string& folder) {
  constexpr int kMostLinks = 40;  // as the kernel has it
  const uid_t caller = geteuid();
  std::string at;
  for (int links = 0; !way.empty() && links <= kMostLinks;) {
    const std::string name = TakeName(way);
    if (name.empty() || name == ".") continue;
    const std::string above = at;
    at = name == ".." ? at.substr(0, std::min(at.rfind('/'), at.size())) : at.append("/").append(name);
    // The way to FOLDER itself may lead over others.
    if (LiesOnForeignMount(table, at, folder, caller) && !IsHeldBy(*MountOf(table, at), folder)) return true;
    const std::string target = TargetOf(at);
    if (target.empty()) continue;
    ++links;
    at = target.starts_with('/') ? "" : above;
    way.insert(0, "/").insert(0, target);
  }
  return LiesOnForeignMount(table, at, folder, caller);
}

bool IsForeign(const std::string& path, const std::string& folder) {
  const auto mounts = CurrentMounts();
  return mounts == nullptr || LeadsToForeignMount(*mounts, path, folder);
}

bool IsForeign(const std::string& path) {
  const PathOwner owner = OwnerOf(path);
  if (!owner.known) return true;
  const std::string folder = PhotoFolderOf(path, owner);
  return !folder.empty() && IsForeign(path, WithoutLinks(folder));
}

}  // namespace

bool IndexIsPathRemoteOrImageMount(const char* path) {
  // What cannot be found out counts as foreign: what is left out keeps its rows.
  return path != nullptr && WithoutExceptions(true, [&] { return IsForeign(path); });
}

bool KAVOIndexLeadsToForeignMount(const char* folder, const char* path) {
  return folder != nullptr && path != nullptr &&
         WithoutExceptions(true, [&] { return IsForeign(path, folder); });
}
