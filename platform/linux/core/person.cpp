#include "core/person.h"

#include <grp.h>
#include <pwd.h>

#include <array>

namespace {

constexpr gid_t kNobodysGroup = 65534;
constexpr int kFirstGroups = 64;
constexpr std::size_t kAccountSize = 16384;

std::vector<gid_t> GroupsOf(const passwd& account) {
  std::vector<gid_t> groups(kFirstGroups);
  int count = kFirstGroups;
  if (getgrouplist(account.pw_name, account.pw_gid, groups.data(), &count) < 0) {
    groups.resize(static_cast<std::size_t>(count));
    getgrouplist(account.pw_name, account.pw_gid, groups.data(), &count);
  }
  groups.resize(static_cast<std::size_t>(count));
  return groups;
}

}  // namespace

Person FindPerson(uid_t user) {
  std::array<char, kAccountSize> texts{};
  passwd account{};
  passwd* found = nullptr;
  if (getpwuid_r(user, &account, texts.data(), texts.size(), &found) != 0 || found == nullptr)
    return {kNobodysGroup, {}, "", ""};
  return {found->pw_gid, GroupsOf(*found), found->pw_name, found->pw_dir};
}
