#include "library/trusted_way.h"

#include <errno.h>

#include <array>

#include "base/limits.h"
#include "common/error_text.h"
#include "platform/files.h"

namespace {

constexpr const char* kForeignLink =
    "a link on the way belongs to somebody who does not own the folder; name the folder itself";

std::string Reason(int error) {
  if (error == EPERM) return kForeignLink;
  return error == ENOTDIR ? "not a folder" : ErrorText(error);
}

}  // namespace

Outcome<std::string> WayTo(const std::string& folder) {
  std::array<char, kPathSize> path{};
  if (KAVOBeneathRootGet(folder.c_str(), path.data(), kPathSize) >= 0) return std::string(path.data());
  return Failure{ExitStatus::kConfiguration, Reason(errno)};
}
