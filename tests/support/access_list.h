// Access lists of files, as the kernel takes them.
#ifndef TESTS_SUPPORT_ACCESS_LIST_H_
#define TESTS_SUPPORT_ACCESS_LIST_H_

#include <sys/types.h>
#include <sys/xattr.h>

#include <array>
#include <cstdint>
#include <string>

// Rights as in a mode: 4 to read, 2 to write, 1 to go through.
struct ListedRights {
  std::uint16_t all;  // of the owner, of the user and as the mask
  std::uint16_t group;
  std::uint16_t others;
};

// Gives FILE an access list that names USER; false where there are none.
inline bool NameInAccessList(const std::string& file, uid_t user, ListedRights rights) {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t rights;
    std::uint32_t id;
  };
  struct List {
    std::uint32_t version = 2;
    std::array<Entry, 5> entries;
  };
  constexpr std::uint32_t kNobody = ~0U;
  constexpr std::uint16_t kOwner = 1;
  constexpr std::uint16_t kUser = 2;
  constexpr std::uint16_t kGroup = 4;
  constexpr std::uint16_t kMask = 16;
  constexpr std::uint16_t kOthers = 32;
  const List list{2,
                  {{{kOwner, rights.all, kNobody},
                    {kUser, rights.all, user},
                    {kGroup, rights.group, kNobody},
                    {kMask, rights.all, kNobody},
                    {kOthers, rights.others, kNobody}}}};
  return setxattr(file.c_str(), "system.posix_acl_access", &list, sizeof list, 0) == 0;
}

#endif  // TESTS_SUPPORT_ACCESS_LIST_H_
