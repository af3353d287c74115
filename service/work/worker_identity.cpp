#include "work/worker_identity.h"

#include <errno.h>
#include <grp.h>
#include <linux/keyctl.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "common/display.h"
#include "library/folder_trust.h"

namespace {

constexpr uid_t kRoot = 0;
constexpr gid_t kNobodysGroup = 65534;
constexpr mode_t kNobodyElseWrites = 022;

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

Failure Exchangeable(const Library& library, const DistrustedFolder& above) {
  return {ExitStatus::kUsage, Visible(library.folder) + ": belongs to root, but somebody else may put " +
                                  "another folder in its place in " + Visible(above.path) +
                                  "; give it to its user, or say --as-root"};
}

}  // namespace

Outcome<std::optional<WorkerIdentity>> OwnerToBecome(const Library& library) {
  struct stat status {};
  if (geteuid() != kRoot || library.shared() || stat(library.folder.c_str(), &status) != 0)
    return std::optional<WorkerIdentity>();
  if (status.st_uid != kRoot) return std::optional(WorkerIdentity{status.st_uid, status.st_gid});
  if (const auto above = DistrustedAbove(library.folder)) return Exchangeable(library, *above);
  return std::optional<WorkerIdentity>();
}

bool BecomeUser(uid_t user) {
  if (!LeaveSession()) return false;
  // Others must not get to write what it makes because root, who started the run, allows them that.
  umask(umask(kNobodyElseWrites) | kNobodyElseWrites);
  if (chdir("/") != 0) return false;
  const std::optional<Groups> groups = TakeAccount(user);
  if (!groups || !SetGroups(*groups) || setresuid(user, user, user) != 0 || !HasLostRoot(user, *groups))
    return false;
  // Its own descriptors would be out of its reach otherwise (/proc). That lets USER look into this
  // process and steer it, so nothing of root's is in it by now.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) == 0;
}
