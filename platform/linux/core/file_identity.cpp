#include "core/file_identity.h"

#include <errno.h>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "core/error.h"
#include "platform/file_rights.h"

namespace {

// The calls tell what was, never whether they succeeded; a second one tells that.
constexpr uid_t kAskUser = static_cast<uid_t>(-1);
constexpr gid_t kAskGroup = static_cast<gid_t>(-1);

uid_t FileUser() {
  return static_cast<uid_t>(setfsuid(kAskUser));
}

gid_t FileGroup() {
  return static_cast<gid_t>(setfsgid(kAskGroup));
}

bool SetUser(uid_t user) {
  setfsuid(user);
  return FileUser() == user;
}

bool SetGroup(gid_t group) {
  setfsgid(group);
  return FileGroup() == group;
}

// The library's function of this name would change all threads.
bool SetGroups(const std::vector<gid_t>& groups) {
#ifdef SYS_setgroups32
  constexpr long kCall = SYS_setgroups32;
#else
  constexpr long kCall = SYS_setgroups;
#endif
  return syscall(kCall, groups.size(), groups.data()) == 0;
}

std::vector<gid_t> OwnGroups() {
  std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  groups.resize(static_cast<std::size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
  return groups;
}

// Whose rights a thread has taken, and the account that it looked up last.
struct Rights {
  uid_t user = kAskUser;
  Person account;
  std::optional<FileIdentity> taken;
};

Rights& OfThread() {
  static thread_local Rights rights;
  return rights;
}

bool Take(uid_t user) {
  Rights& rights = OfThread();
  if (rights.taken) {
    errno = EBUSY;
    return false;
  }
  if (rights.user != user) rights.account = FindPerson(user);
  rights.user = user;
  errno = EPERM;
  if (rights.taken.emplace(user, rights.account)) return true;
  rights.taken.reset();
  return false;
}

}  // namespace

FileIdentity::FileIdentity(uid_t person) : FileIdentity(person, FindPerson(person)) {}

FileIdentity::FileIdentity(uid_t person, const Person& account)
    : user_(FileUser()), group_(FileGroup()), groups_(OwnGroups()) {
  begun_ = SetGroups(account.groups);
  taken_ = begun_ && SetGroup(account.group) && SetUser(person);
}

// What is opened afterwards with somebody else's rights, or without its own, would be wrong for good.
FileIdentity::~FileIdentity() {
  if (!begun_) return;
  const int kept = errno;
  if (!SetUser(user_) || !SetGroup(group_) || !SetGroups(groups_)) abort();
  errno = kept;
}

int KAVOFileRightsTake(uid_t user) {
  return WithoutExceptions(-1, [&] {
    if (Take(user)) return 0;
    RECORD_ERROR(errno);
    return -1;
  });
}

void KAVOFileRightsReturn() {
  OfThread().taken.reset();
}
