#include "file_system_id.h"

#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cstring>
#include <filesystem>
#include <sstream>

#include "name_hash.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kNoDevice = std::uint64_t{1} << 63;

struct Own {
  std::uint64_t id = 0;
  bool births = false;  // the folder's birth time is the same whenever it is mounted
};

Own OwnOf(int folder, const struct statx& status) {
  Own own;
  struct statfs whole {};
  if (fstatfs(folder, &whole) != 0) return own;
  static_assert(sizeof(own.id) == sizeof(whole.f_fsid));
  std::memcpy(&own.id, &whole.f_fsid, sizeof(own.id));
  // That file system's root is born when it is mounted.
  own.births = status.stx_btime.tv_sec != 0 && whole.f_type != EXFAT_SUPER_MAGIC;
  return own;
}

// A file system that tells no birth times mostly makes its id of the device's number.
std::string LastingName(const Own& own, const struct statx& status) {
  if (own.births && own.id != 0) return std::to_string(own.id);
  const std::string name = NameOfDevice(DeviceOf(status));
  return !name.empty() ? name : std::to_string(own.id != 0 ? own.id : DeviceOf(status));
}

}  // namespace

std::uint64_t DeviceOf(const struct statx& status) {
  return makedev(status.stx_dev_major, status.stx_dev_minor);
}

std::string NameOfDevice(dev_t number, const std::string& by_name) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(by_name, error)) {
    struct stat device {};
    const bool found = stat(entry.path().c_str(), &device) == 0 && S_ISBLK(device.st_mode);
    if (found && device.st_rdev == number) return entry.path().filename();
  }
  return "";
}

std::uint64_t FileSystemId(int folder, const struct statx& status) {
  const Own own = OwnOf(folder, status);
  std::ostringstream text;
  text << LastingName(own, status) << ' ' << status.stx_ino;
  if (own.births) text << ' ' << status.stx_btime.tv_sec << '.' << status.stx_btime.tv_nsec;
  NameHash hash;
  hash.Add(text.str());
  return hash.value() | kNoDevice;
}
