#include "watch/inotify_source.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>

#include "base/path_below.h"
#include "common/display.h"
#include "common/error_text.h"
#include "files/looking.h"
#include "files/media_files.h"
#include "files/open_folder.h"
#include "platform/files.h"
#include "platform/index.h"

namespace {

constexpr unsigned kCame = IN_CREATE | IN_MOVED_TO;
constexpr unsigned kWent = IN_DELETE | IN_MOVED_FROM;
constexpr unsigned kNames = kCame | kWent | IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB;
constexpr unsigned kMask = kNames | IN_ONLYDIR | IN_EXCL_UNLINK;
// Nobody above tells of the library itself.
constexpr unsigned kRootEnds = IN_DELETE_SELF | IN_MOVE_SELF;
// In one turn of the loop, which has others to serve.
constexpr int kFoldersAtOnce = 64;
constexpr int kReadsAtOnce = 16;
constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

bool IsLeftOut(std::string_view name) {
  return name.starts_with('.') || name == kSideFolder;
}

std::string Join(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string(name) : std::string(folder).append("/").append(name);
}

bool LacksRoom(int error) {
  return error == ENOSPC || error == ENOMEM || error == EMFILE || error == ENFILE;
}

void EraseTree(std::set<std::string>& paths, const std::string& top) {
  if (top.empty()) return paths.clear();
  paths.erase(top);
  auto first = paths.lower_bound(top + "/");
  while (first != paths.end() && LiesBelow(*first, top)) first = paths.erase(first);
}

HintState StateOf(unsigned mask) {
  if ((mask & (kWent | IN_MOVED_TO | IN_CLOSE_WRITE)) != 0) return HintState::kComplete;
  return (mask & (IN_CREATE | IN_MODIFY)) != 0 ? HintState::kGrowing : HintState::kTouched;
}

}  // namespace

InotifySource::InotifySource(std::string folder, std::optional<uid_t> looker, HintListener& listener,
                             EventLoop& loop, AddWatch add_watch)
    : folder_(std::move(folder)),
      looker_(looker),
      listener_(listener),
      loop_(loop),
      add_watch_(std::move(add_watch)) {
  loop_.Add(*this);
}

InotifySource::~InotifySource() {
  loop_.Remove(*this);
}

Outcome<Done> InotifySource::Begin() {
  End();
  queue_ = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (queue_) {
    to_watch_.emplace_back();
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
  to_watch_.clear();
  unwatched_.clear();
  links_.clear();
}

void InotifySource::Restart() {
  static_cast<void>(Begin());
  listener_.Hinted({"", Reach::kTree, HintState::kComplete});
}

void InotifySource::WatchAnew(const std::string& path) {
  if (queue_) to_watch_.push_back(path);
}

void InotifySource::TryAgain() {
  if (!queue_) return static_cast<void>(Begin());
  for (const std::string& path : std::exchange(unwatched_, {})) to_watch_.push_back(path);
}

void InotifySource::LoseRoot() {
  End();
  listener_.RootLost();
}

Awaited InotifySource::Awaits() const {
  Awaited awaited{queue_ ? queue_.get() : -1, false, std::nullopt};
  if (!to_watch_.empty()) awaited.moment = loop_.Now();
  return awaited;
}

void InotifySource::Expire() {
  const LookingAs looker(looker_);
  const Looking looking;
  const FileDescriptor root(looking ? open(folder_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC) : -1);
  if (!root) return LoseRoot();
  for (int i = 0; i < kFoldersAtOnce && !to_watch_.empty(); ++i) {
    const std::string path = std::move(to_watch_.front());
    to_watch_.pop_front();
    WatchFolder(root.get(), path);
  }
  if (queue_ && !tree_.Contains("") && !unwatched_.contains("") && to_watch_.empty()) LoseRoot();
}

// One that cannot be opened is gone or closed to us; the folder above tells when that changes.
void InotifySource::WatchFolder(int root, const std::string& path) {
  Forget(path);
  if (!path.empty() && KAVOIndexLeadsToForeignMount(folder_.c_str(), Join(folder_, path).c_str())) return;
  FileDescriptor folder(KAVOBeneathOpenFolder(root, path.c_str()));
  if (!folder) return;
  const std::string opened = "/proc/self/fd/" + std::to_string(folder.get());
  const int watch = add_watch_(queue_.get(), opened.c_str(), kMask | (path.empty() ? kRootEnds : 0));
  if (watch < 0) {
    if (LacksRoom(errno)) unwatched_.insert(path);
    return;
  }
  Release(tree_.Put(path, watch));
  // A folder that is mounted in itself has no end.
  if (!tree_.HasAbove(path, watch)) List(folder.Release(), path);
}

// Takes over the descriptor.
void InotifySource::List(int folder, const std::string& path) {
  const OpenFolder listing(folder);
  if (!listing) return;
  while (const dirent* entry = listing.Next()) {
    if (!IsLeftOut(entry->d_name))
      NoteName(listing.descriptor(), Join(path, entry->d_name), entry->d_name, entry->d_type);
  }
}

void InotifySource::NoteName(int folder, const std::string& path, const char* name, unsigned char type) {
  struct stat status {};
  const bool unknown = type == DT_UNKNOWN;
  if (unknown && fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (type == DT_DIR || (unknown && S_ISDIR(status.st_mode))) to_watch_.push_back(path);
  const bool is_link = type == DT_LNK || (unknown && S_ISLNK(status.st_mode));
  if (is_link && MediaKindOf(path)) links_.insert(path);
}

void InotifySource::Forget(const std::string& path) {
  Release(tree_.Remove(path));
  EraseTree(unwatched_, path);
  EraseTree(links_, path);
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
      const std::string path = Join(folder, event.name);
      (event.mask & IN_ISDIR) != 0 ? HandleFolder(event.mask, path) : HandleFile(event.mask, path);
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
  listener_.Hinted({path, is_tree ? Reach::kTree : Reach::kName, HintState::kComplete});
}

void InotifySource::HandleFile(unsigned mask, const std::string& path) {
  // What is no photo has no row; but it may have stood in the place of something that has.
  if (!MediaKindOf(path)) {
    if ((mask & kWent) != 0) listener_.Hinted({path, Reach::kName, HintState::kComplete});
    return;
  }
  const bool is_whole = NoteLink(mask, path);
  listener_.Hinted({path, Reach::kName, is_whole ? HintState::kComplete : StateOf(mask)});
}

// True for a name that came without anybody writing. What is written under one of several names has changed
// under all of them, and nobody tells which these are.
bool InotifySource::NoteLink(unsigned mask, const std::string& path) {
  if ((mask & kWent) != 0) links_.erase(path);
  if ((mask & (kCame | IN_CLOSE_WRITE)) == 0) return false;
  const Looking looking;
  struct stat status {};
  if (!looking || lstat(Join(folder_, path).c_str(), &status) != 0) return false;
  const bool is_link = S_ISLNK(status.st_mode);
  if (is_link) links_.insert(path);
  const bool has_others = S_ISREG(status.st_mode) && status.st_nlink > 1;
  if (has_others && (mask & IN_CLOSE_WRITE) != 0) listener_.Hinted({"", Reach::kTree, HintState::kComplete});
  return is_link || has_others;
}
