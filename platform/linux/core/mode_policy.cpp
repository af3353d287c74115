#include "core/mode_policy.h"

#include <sys/stat.h>

#include "core/key_value.h"
#include "core/open_below.h"
#include "core/rooted_path.h"
#include "platform/files.h"

namespace {

constexpr const char* kSettings = "/var/packages/Lumivault/etc/settings.conf";
constexpr mode_t kModeBits = 07777;

bool KeepsModes() {
  const std::string file = RootedPath(kSettings);
  const auto settings = ReadKeyValues(file);
  // What the person has asked for cannot be told; nothing is opened up by mistake.
  if (settings == nullptr) return RLIBCFileExist(file.c_str()) != 0;
  const std::string* policy = settings->Find("file_modes");
  return policy != nullptr && *policy == "keep";
}

}  // namespace

int GiveMode(const FileDescriptor& descriptor, mode_t mode) {
  const auto status = StatusOf(descriptor);
  if (!status.has_value()) return -1;
  // A change that changes nothing would still touch the change time, by which others notice changed files.
  if ((status->st_mode & kModeBits) == mode || KeepsModes()) return 0;
  return chmod(NameOfDescriptor(descriptor).c_str(), mode);
}
