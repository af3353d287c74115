#include "watch/inotify_source.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "common/display.h"
#include "common/error_text.h"
#include "files/looking.h"
#include "platform/files.h"
#include "platform/index.h"

namespace {

constexpr unsigned kCame = IN_CREATE | IN_MOVED_TO;
constexpr unsigned kWent = IN_DELETE | IN_MOVED_FROM;
constexpr unsigned kNames = kCame | kWent | IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB;
// A folder that is mounted in itself keeps what is asked of it under its first name.
constexpr unsigned kMask = kNames | IN_ONLYDIR | IN_EXCL_UNLINK | IN_MASK_ADD;
// Nobody above tells of the library itself.
constexpr unsigned kRootEnds = IN_DELETE_SELF | IN_MOVE_SELF;
// In one turn of the loop, which has others to serve.
constexpr int kFoldersAtOnce = 64;
constexpr int kReadsAtOnce = 16;
// The kernel's own queue has a bound, and says when it is reached.
constexpr std::size_t kMostToWatch = 10'000;
constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

bool LacksRoom(int error) {
  return error == ENOSPC || error == ENOMEM || error == EMFILE || error == ENFILE;
}

bool IsNoFolder(int error) {
  return error == ENOTDIR || error == ELOOP;
}

// It is gone or closed to us; the folder above tells when that changes. Of anything else nobody does.
bool IsToldWhenItEnds(int error) {
  return IsNoFolder(error) || error == ENOENT || error == EACCES;
}

unsigned ToldBy(unsigned mask) {
  unsigned told = 0;
  if ((mask & IN_CREATE) != 0) told |= kToldMade;
  if ((mask & IN_MOVED_TO) != 0) told |= kToldMovedIn;
  if ((mask & kWent) != 0) told |= kToldWent;
  if ((mask & IN_CLOSE_WRITE) != 0) told |= kToldClosed;
  if ((mask & IN_MODIFY) != 0) told |= kToldWritten;
  if ((mask & IN_ATTRIB) != 0) told |= kToldTouched;
  return told;
}

}  // namespace

InotifySource::InotifySource(std::string folder, HintListener& listener, EventLoop& loop, AddWatch add_watch)
    : folder_(std::move(folder)),
      listener_(listener),
      loop_(loop),
      add_watch_(std::move(add_watch)),
      files_(folder_, listener) {
  loop_.Add(*this);
}

InotifySource::~InotifySource() {
  loop_.Remove(*this);
}

Outcome<Done> InotifySource::Begin(std::optional<uid_t> looker) {
  End();
  looker_ = looker;
  queue_ = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (queue_) {
    to_watch_.insert("");
  } else if (LacksRoom(errno)) {
    unwatched_.insert("");
  } else {
    return Failure{ExitStatus::kFatal, Visible(folder_) + ": cannot be watched: " + ErrorText(errno)};
  }
  return Done{};
}

void InotifySource::End() {
  queue_ = FileDescriptor();
  tree_.Clear();
  root_.reset();
  to_watch_.clear();
  unwatched_.clear();
  files_.Forget("");
}

void InotifySource::Restart() {
  static_cast<void>(Begin(looker_));
  listener_.Hinted({"", Reach::kTree, HintState::kComplete});
}

void InotifySource::WatchAnew(const std::string& path) {
  if (queue_) to_watch_.insert(path);
}

void InotifySource::TryAgain() {
  if (!queue_) return static_cast<void>(Begin(looker_));
  to_watch_.merge(unwatched_);
  unwatched_.clear();
}

void InotifySource::LoseRoot() {
  End();
  listener_.RootLost();
}

Awaited InotifySource::Awaits() const {
  const bool listens = queue_ && to_watch_.size() <= kMostToWatch;
  Awaited awaited{listens ? queue_.get() : -1, false, std::nullopt};
  if (!to_watch_.empty()) awaited.moment = loop_.Now();
  return awaited;
}

void InotifySource::Expire() {
  const LookingAs looker(looker_);
  const Looking looking;
  const FileDescriptor root(looking ? open(folder_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
  if (!root || (root_ && IdOfOpen(root.get()) != root_)) return LoseRoot();
  for (int i = 0; i < kFoldersAtOnce && !to_watch_.empty(); ++i)
    WatchFolder(root.get(), to_watch_.extract(to_watch_.begin()).value());
  if (queue_ && !tree_.Contains("") && !unwatched_.contains("") && to_watch_.empty()) LoseRoot();
}

void InotifySource::WatchFolder(int root, const std::string& path) {
  const bool is_foreign =
      !path.empty() && KAVOIndexLeadsToForeignMount(folder_.c_str(), PathIn(folder_, path).c_str());
  FileDescriptor folder(is_foreign ? -1 : KAVOBeneathOpenFolder(root, path.c_str()));
  const int error = folder || is_foreign ? 0 : errno;
  // A link to a file is known still.
  if (IsNoFolder(error)) return;
  Forget(path);
  if (error != 0 && !IsToldWhenItEnds(error)) unwatched_.insert(path);
  if (!folder) return;
  const std::string opened = "/proc/self/fd/" + std::to_string(folder.get());
  const int watch = add_watch_(queue_.get(), opened.c_str(), kMask | (path.empty() ? kRootEnds : 0));
  if (watch < 0) {
    if (!IsToldWhenItEnds(errno)) unwatched_.insert(path);
    return;
  }
  if (path.empty()) root_ = IdOfOpen(folder.get());
  Release(tree_.Put(path, watch));
  // A folder that is mounted in itself has no end.
  if (tree_.HasAbove(path, watch)) return;
  const bool listed =
      files_.List(folder.Release(), path, [this](std::string below) { to_watch_.insert(std::move(below)); });
  if (!listed) unwatched_.insert(path);
}

void InotifySource::Forget(const std::string& path) {
  Release(tree_.Remove(path));
  EraseTree(to_watch_, path);
  EraseTree(unwatched_, path);
  files_.Forget(path);
}

void InotifySource::Release(const std::vector<int>& watches) const {
  for (const int watch : watches) inotify_rm_watch(queue_.get(), watch);
}

void InotifySource::Serve() {
  const LookingAs looker(looker_);
  alignas(inotify_event) std::array<char, kBufferBytes> buffer;
  for (int i = 0; i < kReadsAtOnce && queue_; ++i) {
    const int queue = queue_.get();
    const ssize_t size = read(queue, buffer.data(), buffer.size());
    if (size <= 0) return;
    for (const char* at = buffer.data(); at < buffer.data() + size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(at);
      at += sizeof(inotify_event) + event->len;
      const std::size_t overflows = overflows_;
      Handle(*event);
      // What else was told is of watches that are there no more.
      if (!queue_ || overflows != overflows_) return;
    }
  }
}

void InotifySource::Handle(const inotify_event& event) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) {
    ++overflows_;
    return Restart();
  }
  const std::vector<std::string> folders = tree_.PathsOf(event.wd);
  if ((event.mask & IN_IGNORED) != 0) tree_.RemoveWatch(event.wd);
  for (const std::string& folder : folders) {
    if (!queue_) return;
    if (event.len == 0) {
      HandleOwn(event, folder);
    } else if (!IsLeftOut(event.name)) {
      const std::string path = PathIn(folder, event.name);
      if ((event.mask & IN_ISDIR) != 0) {
        HandleFolder(event.mask, path);
      } else {
        files_.Tell(ToldBy(event.mask), path);
      }
    }
  }
}

void InotifySource::HandleOwn(const inotify_event& event, const std::string& path) {
  if (path.empty() && (event.mask & (kRootEnds | IN_UNMOUNT | IN_IGNORED)) != 0) return LoseRoot();
  if ((event.mask & IN_UNMOUNT) == 0) return;
  // What was hidden by it is seen again.
  listener_.Hinted({path, Reach::kTree, HintState::kComplete});
  WatchAnew(path);
}

void InotifySource::HandleFolder(unsigned mask, const std::string& path) {
  const bool is_new = (mask & kCame) != 0 || ((mask & IN_ATTRIB) != 0 && !tree_.Contains(path));
  if (is_new) WatchAnew(path);
  if ((mask & kWent) != 0) Forget(path);
  const bool is_tree = is_new || (mask & kWent) != 0;
  const bool moved = (mask & (kWent | IN_MOVED_TO)) != 0;
  listener_.Hinted(
      {path, is_tree ? Reach::kTree : Reach::kName, moved ? HintState::kMoved : HintState::kComplete});
}
