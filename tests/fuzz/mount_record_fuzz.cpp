// What a library's database notes of file systems: a record of any names comes back as it went in; a text of
// any bytes, which the folder's owner may have written, gives a record that stays the same from then on.
#include <cstdint>
#include <cstring>
#include <string>

#include "changes/mount_record.h"
#include "fuzz/fuzz_input.h"

namespace {

MountRecord RecordIn(std::string_view input) {
  MountRecord mounts;
  while (!input.empty()) {
    std::uint64_t device = 0;
    std::memcpy(&device, input.data(), std::min(input.size(), sizeof(device)));
    const std::string path = TakePart(input);
    if (!path.empty()) mounts[path].insert(device);
    if (device % 2 != 0) mounts["twice"].insert(device);
  }
  return mounts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = TextOf(data, size);
  const MountRecord mounts = RecordIn(input);
  const std::string text = MountText(mounts);
  Require(text.find_first_not_of("0123456789abcdef: ") == std::string::npos, "not one line of ASCII", text);
  Require(ParseMountText(text) == mounts, "the record changed", text);
  const std::string once = MountText(ParseMountText(input));
  Require(MountText(ParseMountText(once)) == once, "a text does not settle", once);
  for (const auto& [path, devices] : mounts) {
    const std::uint64_t device = RecordedDevice(mounts, path);
    Require(devices.size() == 1 ? device == *devices.begin() : device == kSomeOtherDevice, "not its device");
  }
  return 0;
}
