#include "files/file_system_id.h"

#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cstring>
#include <filesystem>
#include <sstream>

#include "common/name_hash.h"
#include "files/statx_time.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kNoDevice = std::uint64_t{1} << 63;

// As the kernel writes it where an id is made of it.
std::uint64_t EncodedNumber(std::uint64_t device) {
  constexpr unsigned kLowMinor = 0xff;
  constexpr unsigned kMajorShift = 8;
  constexpr unsigned kHighMinorShift = 12;
  const unsigned minor_number = minor(device);
  return (minor_number & kLowMinor) | (major(device) << kMajorShift) |
         (std::uint64_t{minor_number & ~kLowMinor} << kHighMinorShift);
}

// The same whenever the disk is mounted, as far as that goes.
std::string LastingName(const FileSystemFacts& facts) {
  if (!facts.name.empty()) return facts.name;
  const bool made_of_number = facts.id == 0 || facts.id == EncodedNumber(facts.device);
  if (facts.birth != 0)
    return made_of_number ? "type " + std::to_string(facts.type) : std::to_string(facts.id);
  return std::to_string(facts.id != 0 ? facts.id : facts.device);
}

FileSystemFacts FactsOf(int folder, const struct statx& status) {
  FileSystemFacts facts;
  facts.device = DeviceOf(status);
  facts.inode = status.stx_ino;
  facts.name = NameOfDevice(facts.device);
  struct statfs whole {};
  if (fstatfs(folder, &whole) != 0) return facts;
  static_assert(sizeof(facts.id) == sizeof(whole.f_fsid));
  std::memcpy(&facts.id, &whole.f_fsid, sizeof(facts.id));
  facts.type = whole.f_type;
  facts.birth = BirthOf(status);
  return facts;
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

std::uint64_t FileSystemId(const FileSystemFacts& facts) {
  FileSystemFacts lasting = facts;
  // That file system's root is born when it is mounted.
  if (facts.type == EXFAT_SUPER_MAGIC) lasting.birth = 0;
  std::ostringstream text;
  text << LastingName(lasting) << ' ' << lasting.inode;
  if (lasting.birth != 0) text << ' ' << lasting.birth;
  NameHash hash;
  hash.Add(text.str());
  return hash.value() | kNoDevice;
}

std::uint64_t FileSystemId(int folder, const struct statx& status) {
  return FileSystemId(FactsOf(folder, status));
}
