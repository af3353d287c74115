#include "watch/fanotify_source.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <utility>
#include <vector>

#include "base/limits.h"
#include "base/path_below.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "files/looking.h"
#include "platform/files.h"
#include "platform/index.h"
#include "watch/mount_changes.h"

namespace {

constexpr std::uint64_t kCame = FAN_CREATE | FAN_MOVED_TO;
constexpr std::uint64_t kWent = FAN_DELETE | FAN_MOVED_FROM;
constexpr std::uint64_t kEnds = FAN_DELETE_SELF | FAN_MOVE_SELF;
constexpr std::uint64_t kMask = kCame | kWent | kEnds | FAN_CLOSE_WRITE | FAN_MODIFY | FAN_ATTRIB | FAN_ONDIR;
constexpr unsigned kFlags = FAN_CLASS_NOTIF | FAN_REPORT_DFID_NAME | FAN_NONBLOCK | FAN_CLOEXEC;
constexpr int kFoldersAtOnce = 64;
constexpr int kReadsAtOnce = 16;
constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

unsigned ToldBy(std::uint64_t mask) {
  unsigned told = 0;
  if ((mask & FAN_CREATE) != 0) told |= kToldMade;
  if ((mask & FAN_MOVED_TO) != 0) told |= kToldMovedIn;
  if ((mask & kWent) != 0) told |= kToldWent;
  if ((mask & FAN_CLOSE_WRITE) != 0) told |= kToldClosed;
  if ((mask & FAN_MODIFY) != 0) told |= kToldWritten;
  if ((mask & FAN_ATTRIB) != 0) told |= kToldTouched;
  return told;
}

template <typename Id>
std::uint64_t NumberOf(const Id& id) {
  std::uint64_t number = 0;
  static_assert(sizeof(id) == sizeof(number));
  memcpy(&number, &id, sizeof(number));
  return number;
}

// Something in PATH is no folder that a walk enters.
bool HasLeftOut(const std::string& path) {
  std::istringstream names(path);
  for (std::string name; std::getline(names, name, '/');) {
    if (IsLeftOut(name)) return true;
  }
  return false;
}

Failure CannotWatch(const std::string& folder) {
  return {ExitStatus::kConfiguration,
          Visible(folder) + ": cannot be watched by fanotify: " + ErrorText(errno) + " (--events inotify)"};
}

}  // namespace

Outcome<Done> FanotifySource::Try(const std::string& folder) {
  const FileDescriptor queue(fanotify_init(kFlags, O_RDONLY | O_CLOEXEC));
  if (!queue ||
      fanotify_mark(queue.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, kMask, AT_FDCWD, folder.c_str()) != 0)
    return CannotWatch(folder);
  return Done{};
}

FanotifySource::FanotifySource(std::string folder, HintListener& listener, EventLoop& loop)
    : folder_(std::move(folder)), listener_(listener), loop_(loop), files_(folder_, listener) {
  loop_.Add(*this);
}

FanotifySource::~FanotifySource() {
  loop_.Remove(*this);
}

Outcome<Done> FanotifySource::Begin(std::optional<uid_t> looker) {
  End();
  looker_ = looker;
  queue_ = FileDescriptor(fanotify_init(kFlags, O_RDONLY | O_CLOEXEC));
  root_ = IdBehind(folder_.c_str());
  if (!queue_ || !root_ || !Mark(folder_)) return CannotWatch(folder_);
  MarkBelow();
  to_list_.insert("");
  return Done{};
}

void FanotifySource::End() {
  queue_ = FileDescriptor();
  mounts_.clear();
  to_list_.clear();
  unwatched_.clear();
  files_.Forget("");
  folders_ = 0;
}

bool FanotifySource::Mark(const std::string& path) {
  struct statfs status {};
  if (statfs(path.c_str(), &status) != 0) return false;
  if (fanotify_mark(queue_.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, kMask, AT_FDCWD, path.c_str()) != 0)
    return false;
  mounts_[NumberOf(status.f_fsid)] = path;
  return true;
}

// The file systems that are mounted below the library.
void FanotifySource::MarkBelow() {
  for (const MountPoint& mount : ParseMountPoints(ReadWholeFile("/proc/self/mountinfo").value_or(""))) {
    if (!LiesBelow(mount.path, folder_)) continue;
    if (KAVOIndexLeadsToForeignMount(folder_.c_str(), mount.path.c_str())) continue;
    if (!Mark(mount.path)) unwatched_.insert(mount.path.substr(folder_.size() + 1));
  }
}

void FanotifySource::WatchAnew(const std::string& path) {
  if (!queue_) return;
  EraseTree(unwatched_, path);
  MarkBelow();
  to_list_.insert(path);
}

void FanotifySource::TryAgain() {
  for (const std::string& path : std::exchange(unwatched_, {})) WatchAnew(path);
}

void FanotifySource::LoseRoot() {
  End();
  listener_.RootLost();
}

Awaited FanotifySource::Awaits() const {
  Awaited awaited{queue_ ? queue_.get() : -1, false, std::nullopt};
  if (!to_list_.empty()) awaited.moment = loop_.Now();
  return awaited;
}

// For the links alone: what is in the folders need not be known to be told of.
void FanotifySource::Expire() {
  const LookingAs looker(looker_);
  const Looking looking;
  const FileDescriptor root(looking ? open(folder_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
  if (!root) return LoseRoot();
  for (int i = 0; i < kFoldersAtOnce && !to_list_.empty(); ++i) {
    const std::string path = to_list_.extract(to_list_.begin()).value();
    if (!path.empty() && KAVOIndexLeadsToForeignMount(folder_.c_str(), PathIn(folder_, path).c_str())) {
      files_.Forget(path);
      continue;
    }
    const int folder = KAVOBeneathOpenFolder(root.get(), path.c_str());
    if (folder < 0 && path.empty()) return LoseRoot();
    // A link to a file is known still.
    if (folder < 0 && (errno == ENOTDIR || errno == ELOOP)) continue;
    files_.Forget(path);
    if (folder < 0) continue;
    ++folders_;
    files_.List(folder, path, [this](std::string below) { to_list_.insert(std::move(below)); });
  }
}

void FanotifySource::Serve() {
  const LookingAs looker(looker_);
  std::array<char, kBufferBytes> buffer;
  // Events follow each other as closely as four bytes allow, and a machine may want eight: each is copied.
  std::vector<char> event;
  fanotify_event_metadata metadata;
  OpenMounts mounts;
  for (int i = 0; i < kReadsAtOnce && queue_; ++i) {
    std::int64_t size = read(queue_.get(), buffer.data(), buffer.size());
    if (size <= 0) return;
    const std::size_t overflows = overflows_;
    for (const char* at = buffer.data(); size >= static_cast<std::int64_t>(sizeof metadata);
         at += metadata.event_len, size -= metadata.event_len) {
      std::memcpy(&metadata, at, sizeof metadata);
      if (!FAN_EVENT_OK(&metadata, size)) break;
      event.assign(at, at + metadata.event_len);
      Handle(*reinterpret_cast<const fanotify_event_metadata*>(event.data()), mounts);
      if (!queue_ || overflows != overflows_) return;
    }
  }
}

void FanotifySource::Handle(const fanotify_event_metadata& event, OpenMounts& mounts) {
  if ((event.mask & FAN_Q_OVERFLOW) != 0) {
    ++overflows_;
    if (!Begin(looker_)) return LoseRoot();
    return listener_.Hinted({"", Reach::kTree, HintState::kComplete});
  }
  if ((event.mask & kEnds) != 0 && (event.mask & FAN_ONDIR) != 0) CheckRoot();
  if (!queue_ || event.event_len <= event.metadata_len) return;
  const auto& info = *reinterpret_cast<const fanotify_event_info_fid*>(reinterpret_cast<const char*>(&event) +
                                                                       event.metadata_len);
  if (info.hdr.info_type != FAN_EVENT_INFO_TYPE_DFID_NAME) return;
  const auto& handle = *reinterpret_cast<const file_handle*>(info.handle);
  const std::string name = reinterpret_cast<const char*>(handle.f_handle) + handle.handle_bytes;
  const bool is_own = name == ".";
  if (IsLeftOut(name) && !is_own) return;
  const auto folder = FolderOf(info, mounts);
  if (!folder || HasLeftOut(*folder)) return;
  if (!is_own) return HandleName(event.mask, PathIn(*folder, name));
  // Of its name the folder above tells.
  if (!folder->empty()) HandleFolder(event.mask & FAN_ATTRIB, *folder);
}

std::optional<std::string> FanotifySource::FolderOf(const fanotify_event_info_fid& info,
                                                    OpenMounts& mounts) const {
  const auto mount = mounts_.find(NumberOf(info.fsid));
  if (mount == mounts_.end()) return std::nullopt;
  const auto [opened, is_new] = mounts.try_emplace(mount->first);
  if (is_new)
    opened->second = FileDescriptor(open(mount->second.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  auto* handle = reinterpret_cast<file_handle*>(const_cast<unsigned char*>(info.handle));
  const FileDescriptor folder(open_by_handle_at(opened->second.get(), handle, O_PATH | O_CLOEXEC));
  if (!folder) return std::nullopt;
  std::array<char, kPathSize> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(folder.get());
  const ssize_t size = readlink(link.c_str(), path.data(), path.size());
  if (size <= 0) return std::nullopt;
  const std::string found(path.data(), static_cast<std::size_t>(size));
  if (found == folder_) return "";
  if (!LiesBelow(found, folder_)) return std::nullopt;
  return found.substr(folder_.size() + 1);
}

void FanotifySource::HandleName(std::uint64_t mask, const std::string& path) {
  if ((mask & FAN_ONDIR) != 0) {
    HandleFolder(mask, path);
  } else {
    files_.Tell(ToldBy(mask), path);
  }
}

void FanotifySource::HandleFolder(std::uint64_t mask, const std::string& path) {
  if ((mask & kWent) != 0) files_.Forget(path);
  if ((mask & (kCame | FAN_ATTRIB)) != 0) to_list_.insert(path);
  // A folder that opens up again shows what happened in it.
  const bool is_tree = (mask & (kCame | kWent | FAN_ATTRIB)) != 0;
  const bool moved = (mask & (kWent | FAN_MOVED_TO)) != 0;
  if (is_tree) listener_.Hinted({path, Reach::kTree, moved ? HintState::kMoved : HintState::kComplete});
}

// The library or a folder above it has moved or is gone.
void FanotifySource::CheckRoot() {
  if (!HasRoot()) LoseRoot();
}
