#include "core/file_identity.h"

#include <errno.h>
#include <grp.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <cstdlib>

#include "core/person.h"

namespace {

// The calls tell what was, never whether they succeeded; a second one tells that.
constexpr uid_t kAskUser = static_cast<uid_t>(-1);
constexpr gid_t kAskGroup = static_cast<gid_t>(-1);

bool SetUser(uid_t user) {
  setfsuid(user);
  return static_cast<uid_t>(setfsuid(kAskUser)) == user;
}

bool SetGroup(gid_t group) {
  setfsgid(group);
  return static_cast<gid_t>(setfsgid(kAskGroup)) == group;
}

std::vector<gid_t> OwnGroups() {
  std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  groups.resize(static_cast<std::size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
  return groups;
}

}  // namespace

FileIdentity::FileIdentity(uid_t person) : groups_(OwnGroups()) {
  const Person other = FindPerson(person);
  taken_ =
      setgroups(other.groups.size(), other.groups.data()) == 0 && SetGroup(other.group) && SetUser(person);
}

// What is opened afterwards with somebody else's rights, or without its own, would be wrong for good.
FileIdentity::~FileIdentity() {
  const int kept = errno;
  if (!SetUser(geteuid()) || !SetGroup(getegid()) || setgroups(groups_.size(), groups_.data()) != 0) abort();
  errno = kept;
}
