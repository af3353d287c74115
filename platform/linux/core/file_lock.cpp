#include "core/file_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <optional>
#include <thread>

#include "core/error.h"
#include "core/mode_policy.h"
#include "core/open_below.h"
#include "core/rooted_path.h"
#include "core/trusted_folder.h"
#include "platform/files.h"

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kSharedPhotoLink = "/var/services/photo";
constexpr milliseconds kWaitLimit{10'000};
constexpr mode_t kFileMode = 0777;
constexpr mode_t kPlainFileMode = 0666;

// Where a file is opened from: what lies above FOLDER is the administrator's, below it no link is followed.
struct Place {
  Descriptor folder;
  std::string relative;
};

Place PlaceOf(const std::string& file) {
  const std::string shared = RootedPath(kSharedPhotoLink);
  if (const auto relative = RelativeTo(shared, file)) return {OpenTrustedFolder(shared), *relative};
  const std::size_t slash = file.rfind('/');
  if (slash == file.npos) return {OpenTrustedFolder("."), file};
  return {OpenTrustedFolder(file.substr(0, slash + 1)), file.substr(slash + 1)};
}

Descriptor FindFile(const Place& place) {
  return OpenBelow(place.folder.get(), place.relative, O_PATH);
}

// Opens the regular file that stands there; a device or FIFO is not touched, nor another name of some file.
Descriptor OpenExisting(const Place& place) {
  const Descriptor found = FindFile(place);
  if (!found) return Descriptor();
  const auto status = StatusOf(found);
  if (!status.has_value() || !S_ISREG(status->st_mode)) {
    errno = EINVAL;
    return Descriptor();
  }
  if (status->st_nlink > 1) {
    errno = EMLINK;
    return Descriptor();
  }
  return Reopen(found, O_RDWR | O_NONBLOCK | O_NOCTTY);
}

// EEXIST when somebody else was first.
Descriptor Create(const Place& place) {
  Descriptor made = OpenBelow(place.folder.get(), place.relative, O_RDWR | O_CREAT | O_EXCL, kPlainFileMode);
  if (made && GiveMode(made, kFileMode) != 0) return Descriptor();
  return made;
}

// Others may make and remove the file all the time; ETIMEDOUT after DEADLINE.
Descriptor OpenOrCreate(const Place& place, Clock::time_point deadline) {
  do {
    Descriptor opened = OpenExisting(place);
    if (opened || errno != ENOENT) return opened;
    opened = Create(place);
    if (opened || errno != EEXIST) return opened;
  } while (Clock::now() < deadline);
  errno = ETIMEDOUT;
  return Descriptor();
}

// 0, or errno: ETIMEDOUT after DEADLINE. Asks again and again, because a wait inside flock has no limit;
// sixteen writers that never pause still get their turn within a tenth of a second.
int Lock(const Descriptor& opened, Clock::time_point deadline) {
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
bool IsStillThere(const Descriptor& locked, const Place& place) {
  const Descriptor found = FindFile(place);
  const auto ours = StatusOf(locked);
  const auto theirs = found ? StatusOf(found) : std::nullopt;
  return ours.has_value() && theirs.has_value() && ours->st_dev == theirs->st_dev &&
         ours->st_ino == theirs->st_ino;
}

}  // namespace

Descriptor LockFile(const std::string& file, milliseconds limit) {
  const Place place = PlaceOf(file);
  if (!place.folder) return Descriptor();
  const Clock::time_point deadline = Clock::now() + limit;
  int error = 0;
  do {
    Descriptor opened = OpenOrCreate(place, deadline);
    error = opened ? Lock(opened, deadline) : errno;
    if (error == 0 && IsStillThere(opened, place)) return opened;
  } while (error == 0 && Clock::now() < deadline);

  errno = error != 0 ? error : ETIMEDOUT;
  if (errno == ETIMEDOUT) syslog(LOG_ERR, "Another process holds the lock of %s; gave up.", file.c_str());
  return Descriptor();
}

int RLIBCFileLockByFile(const char* file, int /*mode*/, int* descriptor) {
  return Contained(0, [&] {
    errno = EINVAL;
    Descriptor locked = file != nullptr && descriptor != nullptr ? LockFile(file, kWaitLimit) : Descriptor();
    if (!locked) {
      RECORD_ERROR(errno);
      return 0;
    }
    *descriptor = locked.Release();
    return 1;
  });
}

void RLIBCFileUnlockByFile(int descriptor) {
  const Descriptor locked(descriptor);
  // A child process made in between may have the file open too; closing our descriptor alone would leave it
  // locked.
  flock(locked.get(), LOCK_UN);
}
