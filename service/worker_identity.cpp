#include "worker_identity.h"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <linux/keyctl.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "file_descriptor.h"

namespace {

constexpr uid_t kRoot = 0;
constexpr mode_t kNobodyElseWrites = 022;

// How the files begin. The numbers are those of the machine's own byte order, or of the other.
constexpr std::string_view kDatabaseStart{"SQLite format 3\0", 16};
constexpr std::array<std::string_view, 2> kLogStarts{"\x37\x7f\x06\x82", "\x37\x7f\x06\x83"};
constexpr std::uint32_t kLogIndexVersion = 3007000;

bool BeginsAs(const std::string& suffix, std::string_view start) {
  if (suffix.empty()) return start == kDatabaseStart;
  if (suffix == "-wal") {
    const std::string_view magic = start.substr(0, kLogStarts[0].size());
    return magic == kLogStarts[0] || magic == kLogStarts[1];
  }
  std::uint32_t version = 0;
  memcpy(&version, start.data(), sizeof version);
  return version == kLogIndexVersion;
}

// Whether the open FILE is one that root's SQLite made here. One with a second name is somebody's whose file
// was linked into the folder.
bool IsRootsOwn(int file, const std::string& suffix) {
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != kRoot ||
      status.st_nlink != 1) {
    return false;
  }
  std::array<char, kDatabaseStart.size()> start{};
  if (status.st_size == 0) return true;
  const ssize_t count = pread(file, start.data(), start.size(), 0);
  return count == static_cast<ssize_t>(start.size()) && BeginsAs(suffix, {start.data(), start.size()});
}

// Out of reach of the terminal that root sits at, to which one could type, and of the keys that root holds.
bool LeaveSession() {
  if (setsid() < 0) return false;
  // A kernel without keys, or a container that forbids them.
  return syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr) >= 0 || errno == ENOSYS || errno == EPERM;
}

bool SetGroups(const WorkerIdentity& identity) {
  const passwd* account = getpwuid(identity.user);
  if (account == nullptr)
    return setgroups(0, nullptr) == 0 && setresgid(identity.group, identity.group, identity.group) == 0;
  // What programs started from here read of a person is that person's.
  setenv("HOME", account->pw_dir, 1);
  setenv("USER", account->pw_name, 1);
  setenv("LOGNAME", account->pw_name, 1);
  const gid_t group = account->pw_gid;
  return initgroups(account->pw_name, group) == 0 && setresgid(group, group, group) == 0;
}

bool HasLostRoot(uid_t user) {
  uid_t real = kRoot;
  uid_t effective = kRoot;
  uid_t saved = kRoot;
  if (getresuid(&real, &effective, &saved) != 0) return false;
  return real == user && effective == user && saved == user && setresuid(kRoot, kRoot, kRoot) != 0;
}

}  // namespace

std::optional<WorkerIdentity> OwnerToBecome(const Library& library) {
  struct stat status {};
  if (geteuid() != kRoot || library.shared() || stat(library.folder.c_str(), &status) != 0 ||
      status.st_uid == kRoot) {
    return std::nullopt;
  }
  return WorkerIdentity{status.st_uid, status.st_gid};
}

void AdoptDatabase(const Library& library, const WorkerIdentity& owner) {
  const FileDescriptor folder(open(library.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  // The way to it may have been exchanged since its owner was looked up.
  if (!folder || fstat(folder.get(), &status) != 0 || status.st_uid != owner.user) return;
  for (const std::string suffix : {"", "-wal", "-shm"}) {
    const std::string name = kDatabaseName + suffix;
    const FileDescriptor file(
        openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    // Where it fails the worker tells that it cannot write.
    if (file && IsRootsOwn(file.get(), suffix))
      static_cast<void>(!fchown(file.get(), owner.user, owner.group));
  }
}

bool Become(const WorkerIdentity& identity) {
  if (!LeaveSession()) return false;
  const uid_t user = identity.user;
  umask(umask(kNobodyElseWrites) | kNobodyElseWrites);
  if (chdir("/") != 0) return false;
  if (!SetGroups(identity) || setresuid(user, user, user) != 0 || !HasLostRoot(user)) return false;
  // Its own descriptors would be out of its reach otherwise (/proc). That lets IDENTITY look into this
  // process and steer it, so nothing of root's is in it by now.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) == 0;
}
