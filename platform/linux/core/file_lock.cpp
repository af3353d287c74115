#include "core/file_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "base/file_id.h"
#include "base/fixed_path.h"
#include "core/error.h"
#include "core/mode_policy.h"
#include "core/open_below.h"
#include "core/rooted_path.h"
#include "core/trusted_folder.h"
#include "platform/files.h"

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

constexpr milliseconds kWaitLimit{10'000};
constexpr milliseconds kTurn{100};  // within which writers that do not keep the lock let each other in
constexpr mode_t kFileMode = 0777;
constexpr mode_t kPlainFileMode = 0666;

// Where a file is opened from: what lies above FOLDER is the administrator's, below it no link is followed.
struct Place {
  FileDescriptor folder;
  std::string relative;
};

Place PlaceOf(const std::string& file) {
  const std::string shared = RootedPath(kSharedPhotoLink);
  if (const auto relative = RelativeTo(shared, file)) return {OpenTrustedFolder(shared), *relative};
  const std::size_t slash = file.rfind('/');
  if (slash == file.npos) return {OpenTrustedFolder("."), file};
  return {OpenTrustedFolder(file.substr(0, slash + 1)), file.substr(slash + 1)};
}

FileDescriptor FindFile(const Place& place) {
  return OpenBelow(place.folder.get(), place.relative, O_PATH);
}

// The folder itself that the file stands in, and the file's name there.
Place InItsFolder(const Place& place) {
  const std::size_t slash = place.relative.rfind('/');
  const std::string above = slash == place.relative.npos ? "." : place.relative.substr(0, slash);
  return {OpenBelow(place.folder.get(), above, O_PATH | O_DIRECTORY), place.relative.substr(slash + 1)};
}

// Whoever may write to FOLDER may have moved a private file of somebody's there, which root would write to.
// Others write with their own rights.
bool MayWrite(const struct stat& file, const FileDescriptor& folder) {
  constexpr uid_t kRoot = 0;
  constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
  if (geteuid() != kRoot || file.st_uid == kRoot || (file.st_mode & S_IWOTH) != 0) return true;
  // With kept modes it is its maker's alone, who has put it there himself where nobody else could.
  const auto above = StatusOf(folder);
  return above.has_value() && above->st_uid == file.st_uid && (above->st_mode & kOthersWrite) == 0;
}

// Opens the regular file that stands there; a device or FIFO is not touched, nor another name of some file,
// nor what root may not write to.
FileDescriptor OpenExisting(const Place& place) {
  const Place here = InItsFolder(place);
  const FileDescriptor found = here.folder ? FindFile(here) : FileDescriptor();
  if (!found) return FileDescriptor();
  const auto status = StatusOf(found);
  if (!status.has_value() || !S_ISREG(status->st_mode)) {
    errno = EINVAL;
    return FileDescriptor();
  }
  if (status->st_nlink > 1) {
    errno = EMLINK;
    return FileDescriptor();
  }
  if (!MayWrite(*status, here.folder)) {
    errno = EPERM;
    return FileDescriptor();
  }
  return Reopen(found, O_RDWR | O_NONBLOCK | O_NOCTTY);
}

// EEXIST when somebody else was first.
FileDescriptor Create(const Place& place) {
  FileDescriptor made =
      OpenBelow(place.folder.get(), place.relative, O_RDWR | O_CREAT | O_EXCL, kPlainFileMode);
  if (made && GiveMode(made, kFileMode) != 0) return FileDescriptor();
  return made;
}

// Others may make and remove the file all the time; ETIMEDOUT after DEADLINE.
FileDescriptor OpenOrCreate(const Place& place, Clock::time_point deadline) {
  do {
    FileDescriptor opened = OpenExisting(place);
    if (opened || errno != ENOENT) return opened;
    opened = Create(place);
    if (opened || errno != EEXIST) return opened;
  } while (Clock::now() < deadline);
  errno = ETIMEDOUT;
  return FileDescriptor();
}

// 0, or errno: ETIMEDOUT after DEADLINE. Asks again and again, because a wait inside flock has no limit;
// sixteen writers that never pause still get their turn (kTurn).
int Lock(const FileDescriptor& opened, Clock::time_point deadline) {
  constexpr std::chrono::microseconds kFirstPause{100};
  constexpr std::chrono::microseconds kLongestPause{2'000};
  for (auto pause = kFirstPause; flock(opened.get(), LOCK_EX | LOCK_NB) != 0;
       pause = std::min(2 * pause, kLongestPause)) {
    if (errno != EWOULDBLOCK && errno != EINTR) return errno;
    if (Clock::now() >= deadline) return ETIMEDOUT;
    std::this_thread::sleep_for(pause);
  }
  return 0;
}

// Whoever reads the file may have taken it away under its name while we waited; what is then written to it
// is lost.
bool IsStillThere(const FileDescriptor& locked, const Place& place) {
  const FileDescriptor found = FindFile(place);
  const auto ours = IdOfOpen(locked.get());
  return found && ours.has_value() && ours == IdOfOpen(found.get());
}

// How long a file's lock is waited for. Whoever keeps one that this process has waited for in vain would make
// it wait again for every job; until it has got the lock, a turn is all that it waits for. From any thread.
class Patience {
 public:
  milliseconds For(const std::string& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lost_.contains(file) ? kTurn : kWaitLimit;
  }
  void Lose(const std::string& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lost_.insert(file);
  }
  void Regain(const std::string& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lost_.erase(file);
  }

 private:
  std::mutex mutex_;
  std::set<std::string> lost_;
};

// Empty with errno on failure.
FileDescriptor LockPatiently(const std::string& file) {
  static Patience patience;
  FileDescriptor locked = LockFile(file, patience.For(file));
  const int error = errno;
  if (locked) patience.Regain(file);
  if (!locked && error == ETIMEDOUT) patience.Lose(file);
  errno = error;
  return locked;
}

}  // namespace

FileDescriptor LockFile(const std::string& file, milliseconds limit) {
  const Place place = PlaceOf(file);
  if (!place.folder) return FileDescriptor();
  const Clock::time_point deadline = Clock::now() + limit;
  int error = 0;
  do {
    FileDescriptor opened = OpenOrCreate(place, deadline);
    error = opened ? Lock(opened, deadline) : errno;
    if (error == 0 && IsStillThere(opened, place)) return opened;
  } while (error == 0 && Clock::now() < deadline);

  errno = error != 0 ? error : ETIMEDOUT;
  if (errno == ETIMEDOUT) syslog(LOG_ERR, "Another process holds the lock of %s; gave up.", file.c_str());
  return FileDescriptor();
}

int RLIBCFileLockByFile(const char* file, int /*mode*/, int* descriptor) {
  return WithoutExceptions(0, [&] {
    errno = EINVAL;
    FileDescriptor locked = file != nullptr && descriptor != nullptr ? LockPatiently(file) : FileDescriptor();
    if (!locked) {
      RECORD_ERROR(errno);
      return 0;
    }
    *descriptor = locked.Release();
    return 1;
  });
}

void RLIBCFileUnlockByFile(int descriptor) {
  const FileDescriptor locked(descriptor);
  // A child process made in between may have the file open too; closing our descriptor alone would leave it
  // locked.
  flock(locked.get(), LOCK_UN);
}
