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

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database_reader.h"
#include "display.h"
#include "file_descriptor.h"

namespace {

constexpr uid_t kRoot = 0;
constexpr gid_t kNobodysGroup = 65534;
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

bool Begins(int file, const std::string& suffix) {
  std::array<char, kDatabaseStart.size()> start{};
  const ssize_t count = pread(file, start.data(), start.size(), 0);
  return count == static_cast<ssize_t>(start.size()) && BeginsAs(suffix, {start.data(), start.size()});
}

FileDescriptor OpenIn(const FileDescriptor& folder, const std::string& name) {
  return FileDescriptor(
      openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// NAME in FOLDER is what is open as FILE.
bool IsStill(const FileDescriptor& folder, const std::string& name, const FileDescriptor& file) {
  struct stat held {};
  struct stat named {};
  return fstat(file.get(), &held) == 0 &&
         fstatat(folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

// Whoever may write to the folder may have moved any file of root's here that lies there too. So what becomes
// the owner's tells him nothing that he could not read before, and has no other name.
bool MayBeGiven(const FileDescriptor& file, const std::string& suffix) {
  struct stat status {};
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         (status.st_mode & S_IROTH) != 0 && Begins(file.get(), suffix);
}

bool IsRoots(const FileDescriptor& file) {
  struct stat status {};
  return file && fstat(file.get(), &status) == 0 && status.st_uid == kRoot;
}

// Where it fails the worker tells that it cannot write.
void Give(const FileDescriptor& file, const WorkerIdentity& owner) {
  static_cast<void>(!fchown(file.get(), owner.user, owner.group));
}

bool HasOurSchema(const Library& library) {
  DatabaseReader database = DatabaseReader::ForReading(library);
  return database && database.HasSchema();
}

Failure NotGiven(const Library& library, const std::string& name, const WorkerIdentity& owner) {
  const std::string file = library.folder + "/" + name;
  return {ExitStatus::kDatabase, Visible(file) +
                                     ": belongs to root, and may be another file of root's that was moved "
                                     "here; if it is the library's, run: chown " +
                                     std::to_string(owner.user) + " " + Visible(file)};
}

// Out of reach of the terminal that root sits at, to which one could type, and of the keys that root holds.
bool LeaveSession() {
  if (setsid() < 0) return false;
  // A kernel without keys, or a container that forbids them.
  return syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr) >= 0 || errno == ENOSYS || errno == EPERM;
}

struct Groups {
  gid_t own = kNobodysGroup;
  std::vector<gid_t> all;  // in order, each once
};

void Sort(std::vector<gid_t>& groups) {
  std::sort(groups.begin(), groups.end());
  groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
}

std::vector<gid_t> GroupsOf(const passwd& account) {
  int count = 0;
  getgrouplist(account.pw_name, account.pw_gid, nullptr, &count);
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  getgrouplist(account.pw_name, account.pw_gid, groups.data(), &count);
  Sort(groups);
  return groups;
}

// Of one without an account, whatever group his folder has: that may be root's. Nothing, with errno, where
// the list of accounts cannot be read.
std::optional<Groups> TakeAccount(uid_t user) {
  errno = 0;
  const passwd* account = getpwuid(user);
  if (account == nullptr) {
    if (errno != 0 && errno != ENOENT && errno != ESRCH) return std::nullopt;
    return Groups{};
  }
  // What programs started from here read of a person is that person's.
  setenv("HOME", account->pw_dir, 1);
  setenv("USER", account->pw_name, 1);
  setenv("LOGNAME", account->pw_name, 1);
  return Groups{account->pw_gid, GroupsOf(*account)};
}

bool SetGroups(const Groups& groups) {
  return setgroups(groups.all.size(), groups.all.data()) == 0 &&
         setresgid(groups.own, groups.own, groups.own) == 0;
}

bool HasGroups(const Groups& groups) {
  gid_t real = 0;
  gid_t effective = 0;
  gid_t saved = 0;
  if (getresgid(&real, &effective, &saved) != 0) return false;
  std::vector<gid_t> all(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  if (getgroups(static_cast<int>(all.size()), all.data()) < 0) return false;
  Sort(all);
  return real == groups.own && effective == groups.own && saved == groups.own && all == groups.all;
}

bool HasLostRoot(uid_t user, const Groups& groups) {
  uid_t real = kRoot;
  uid_t effective = kRoot;
  uid_t saved = kRoot;
  if (getresuid(&real, &effective, &saved) != 0) return false;
  return real == user && effective == user && saved == user && HasGroups(groups) &&
         setresuid(kRoot, kRoot, kRoot) != 0;
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

Outcome<Done> AdoptDatabase(const Library& library, const WorkerIdentity& owner) {
  const FileDescriptor folder(open(library.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  // The way to it may have been exchanged since its owner was looked up.
  if (!folder || fstat(folder.get(), &status) != 0 || status.st_uid != owner.user) return Done{};
  const FileDescriptor database = OpenIn(folder, kDatabaseName);
  const bool given = IsRoots(database);
  if (given &&
      !(MayBeGiven(database, "") && HasOurSchema(library) && IsStill(folder, kDatabaseName, database)))
    return NotGiven(library, kDatabaseName, owner);
  for (const std::string suffix : {"-wal", "-shm"}) {
    const FileDescriptor file = OpenIn(folder, kDatabaseName + suffix);
    if (!IsRoots(file)) continue;
    if (!given || !MayBeGiven(file, suffix)) return NotGiven(library, kDatabaseName + suffix, owner);
    Give(file, owner);
  }
  if (given) Give(database, owner);
  return Done{};
}

bool Become(uid_t user) {
  if (!LeaveSession()) return false;
  umask(umask(kNobodyElseWrites) | kNobodyElseWrites);
  if (chdir("/") != 0) return false;
  const std::optional<Groups> groups = TakeAccount(user);
  if (!groups || !SetGroups(*groups) || setresuid(user, user, user) != 0 || !HasLostRoot(user, *groups))
    return false;
  // Its own descriptors would be out of its reach otherwise (/proc). That lets USER look into this
  // process and steer it, so nothing of root's is in it by now.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) == 0;
}
