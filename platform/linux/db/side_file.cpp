#include "db/side_file.h"

#include <endian.h>
#include <limits.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "core/open_below.h"
#include "core/person.h"

namespace {

constexpr uid_t kRoot = 0;
constexpr uid_t kSameUser = static_cast<uid_t>(-1);
constexpr id_t kNoId = static_cast<id_t>(ACL_UNDEFINED_ID);
constexpr const char* kAccessList = "system.posix_acl_access";

using Entry = posix_acl_xattr_entry;
using AccessList = std::vector<Entry>;

unsigned TagOf(const Entry& entry) {
  return le16toh(entry.e_tag);
}

Entry EntryOf(unsigned tag, unsigned rights, id_t who) {
  return {htole16(static_cast<std::uint16_t>(tag)), htole16(static_cast<std::uint16_t>(rights)),
          htole32(who)};
}

// As it is kept; empty where the file has none.
AccessList ListOf(const FileDescriptor& file) {
  std::vector<char> bytes(XATTR_SIZE_MAX);
  constexpr std::size_t kHeader = sizeof(posix_acl_xattr_header);
  const ssize_t size = getxattr(NameOfDescriptor(file).c_str(), kAccessList, bytes.data(), bytes.size());
  if (size <= static_cast<ssize_t>(kHeader)) return {};
  AccessList list((static_cast<std::size_t>(size) - kHeader) / sizeof(Entry));
  std::memcpy(list.data(), bytes.data() + kHeader, list.size() * sizeof(Entry));
  return list;
}

// The same of the bits of its mode.
AccessList ListOfMode(mode_t mode) {
  constexpr unsigned kBits = 3;
  constexpr unsigned kAll = 7;
  return {EntryOf(ACL_USER_OBJ, (mode >> 2 * kBits) & kAll, 0),
          EntryOf(ACL_GROUP_OBJ, (mode >> kBits) & kAll, 0), EntryOf(ACL_OTHER, mode & kAll, 0)};
}

// What MADE, which has the group of the database or another, needs for the same people as the database with
// LIST: that one's owner and group are named in it.
AccessList ListFor(const FileDescriptor& made, const AccessList& list, const struct stat& database) {
  const auto status = StatusOf(made);
  const bool same_group = status && status->st_gid == database.st_gid;
  AccessList shared;
  for (const Entry& entry : list) {
    const unsigned rights = le16toh(entry.e_perm);
    const bool names_group = TagOf(entry) == ACL_GROUP_OBJ && !same_group;
    shared.push_back(names_group ? EntryOf(ACL_GROUP_OBJ, 0, kNoId) : entry);
    if (TagOf(entry) == ACL_USER_OBJ) shared.push_back(EntryOf(ACL_USER, rights, database.st_uid));
    if (names_group) shared.push_back(EntryOf(ACL_GROUP, rights, database.st_gid));
  }
  return shared;
}

void SetList(const FileDescriptor& file, const AccessList& list) {
  const posix_acl_xattr_header header{htole32(POSIX_ACL_XATTR_VERSION)};
  std::vector<char> bytes(sizeof(header) + list.size() * sizeof(Entry));
  std::memcpy(bytes.data(), &header, sizeof(header));
  std::memcpy(bytes.data() + sizeof(header), list.data(), list.size() * sizeof(Entry));
  fsetxattr(file.get(), kAccessList, bytes.data(), bytes.size(), 0);
}

// Who may do what with a file.
class Rights {
 public:
  explicit Rights(const FoundFile& file) : list_(ListOf(file.descriptor)) {
    if (list_.empty()) list_ = ListOfMode(file.status.st_mode);
    unsigned most = ACL_READ | ACL_WRITE;
    for (const Entry& entry : list_) {
      if (TagOf(entry) == ACL_MASK) most = le16toh(entry.e_perm);
    }
    for (Entry& entry : list_) Settle(entry, file.status, most);
  }

  [[nodiscard]] bool OthersMay(unsigned right) const { return Allows(ACL_OTHER, 0, right).value_or(false); }
  // An entry of the user's own decides, else any of one of his groups.
  [[nodiscard]] bool UserMay(uid_t user, unsigned right) const {
    if (const auto own = Allows(ACL_USER, user, right)) return *own;
    const std::vector<gid_t> groups = FindPerson(user).groups;
    return OthersMay(right) || std::any_of(groups.begin(), groups.end(), [&](gid_t group) {
             return Allows(ACL_GROUP, group, right).value_or(false);
           });
  }
  // Whoever may read by THOSE rights may do so by these.
  [[nodiscard]] bool LetRead(const Rights& those) const {
    return std::all_of(those.list_.begin(), those.list_.end(), [&](const Entry& entry) {
      const bool reads = TagOf(entry) != ACL_MASK && (le16toh(entry.e_perm) & ACL_READ) != 0;
      return !reads || Allows(TagOf(entry), le32toh(entry.e_id), ACL_READ).value_or(OthersMay(ACL_READ));
    });
  }

 private:
  // Names owner and group, and takes away what the mask does.
  static void Settle(Entry& entry, const struct stat& status, unsigned most) {
    const unsigned rights = le16toh(entry.e_perm);
    if (TagOf(entry) == ACL_USER_OBJ)
      entry = EntryOf(ACL_USER, rights, status.st_uid);
    else if (TagOf(entry) == ACL_USER)
      entry = EntryOf(ACL_USER, rights & most, le32toh(entry.e_id));
    else if (TagOf(entry) == ACL_GROUP_OBJ)
      entry = EntryOf(ACL_GROUP, rights & most, status.st_gid);
    else if (TagOf(entry) == ACL_GROUP)
      entry = EntryOf(ACL_GROUP, rights & most, le32toh(entry.e_id));
  }
  // Nothing where the list does not name WHO.
  [[nodiscard]] std::optional<bool> Allows(unsigned tag, id_t who, unsigned right) const {
    std::optional<bool> allowed;
    for (const Entry& entry : list_) {
      if (TagOf(entry) != tag || (tag != ACL_OTHER && le32toh(entry.e_id) != who)) continue;
      allowed = allowed.value_or(false) || (le16toh(entry.e_perm) & right) != 0;
    }
    return allowed;
  }

  AccessList list_;
};

}  // namespace

// The side file's own group says nothing of who has made it: folders hand theirs down.
bool IsOfAWriter(const struct stat& side_file, const FoundFile& database) {
  const uid_t maker = side_file.st_uid;
  if (maker == database.status.st_uid) return true;
  // What was root's before would become another's: only one that has just been made, by root, is taken for a
  // side file.
  if (geteuid() == kRoot && maker == kRoot) return side_file.st_size == 0;
  return maker == geteuid() || maker == kRoot || Rights(database).UserMay(maker, ACL_WRITE);
}

bool IsAsPublic(const FoundFile& side_file, const FoundFile& database) {
  constexpr mode_t kReading = S_IRGRP | S_IROTH;
  const struct stat& status = side_file.status;
  if (status.st_uid == database.status.st_uid || status.st_size == 0) return true;
  // One's own may have a group that the database has not.
  if (status.st_uid == geteuid()) return (database.status.st_mode & kReading & ~status.st_mode) == 0;
  return Rights(side_file).LetRead(Rights(database));
}

std::optional<uid_t> RightsFor(const struct stat& side_file, const struct stat& database) {
  const bool foreign = side_file.st_uid != database.st_uid && side_file.st_uid != kRoot;
  if (geteuid() != kRoot || database.st_uid == kRoot || !foreign) return std::nullopt;
  return database.st_uid;
}

void ShareWithWriters(const FileDescriptor& made, const FoundFile& database) {
  const struct stat& status = database.status;
  if (geteuid() == kRoot || geteuid() == status.st_uid) return;
  // For one who is in that group.
  const int ignored = fchown(made.get(), kSameUser, status.st_gid);
  static_cast<void>(ignored);
  const AccessList list = ListOf(database.descriptor);
  if (!list.empty()) SetList(made, ListFor(made, list, status));
}
