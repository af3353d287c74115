#include "files/looking.h"

#include <errno.h>

#include <string>

#include "common/error_text.h"
#include "platform/file_rights.h"

namespace {

std::optional<uid_t>& Looker() {
  static std::optional<uid_t> looker;
  return looker;
}

}  // namespace

Outcome<Done> LookAs(std::optional<uid_t> user) {
  Looker() = user;
  if (const Looking tried; tried) return Done{};
  return Failure{ExitStatus::kFatal,
                 "the folder cannot be looked at as user " + std::to_string(*user) + ": " + ErrorText(errno)};
}

LookingAs::LookingAs(std::optional<uid_t> user) : before_(Looker()) {
  Looker() = user;
}

LookingAs::~LookingAs() {
  Looker() = before_;
}

Looking::Looking() {
  if (!Looker()) return;
  taken_ = KAVOFileRightsTake(*Looker()) == 0;
  may_look_ = taken_;
}

Looking::~Looking() {
  if (taken_) KAVOFileRightsReturn();
}
