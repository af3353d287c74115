#include "core/mode_policy.h"

#include <sys/stat.h>

#include "core/key_value.h"
#include "core/open_below.h"
#include "core/rooted_path.h"

namespace {

constexpr const char* kSettings = "/var/packages/Lumivault/etc/settings.conf";
constexpr mode_t kModeBits = 07777;

bool KeepsModes() {
  const auto settings = ReadKeyValues(RootedPath(kSettings));
  const std::string* policy = settings != nullptr ? settings->Find("file_modes") : nullptr;
  return policy != nullptr && *policy == "keep";
}

}  // namespace

int GiveMode(const Descriptor& descriptor, mode_t mode) {
  const auto status = StatusOf(descriptor);
  if (!status.has_value()) return -1;
  // A change that changes nothing would still touch the change time, by which others notice changed files.
  if ((status->st_mode & kModeBits) == mode || KeepsModes()) return 0;
  return chmod(NameOfDescriptor(descriptor).c_str(), mode);
}
