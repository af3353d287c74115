#include "photo_index/move_rule.h"

#include <optional>
#include <string>

#include "base/limits.h"
#include "photo_index/path_gate.h"
#include "platform/index.h"

namespace {

// The user in whose personal folder PATH lies.
std::optional<std::string> PersonalOwner(const char* path) {
  char user[kUserNameSize] = {};
  if (!KAVOIndexIsPersonalPackagePath(path, kPhotoPackage, user, sizeof user)) return std::nullopt;
  return user;
}

}  // namespace

bool CanMoveInPlace(const char* new_path, const char* old_path) {
  const auto new_owner = PersonalOwner(new_path);
  const auto old_owner = PersonalOwner(old_path);
  if (new_owner || old_owner) return new_owner == old_owner;
  return CheckRequest(old_path) == RequestScope::kOurs && CheckRequest(new_path) == RequestScope::kOurs;
}
