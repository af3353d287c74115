#include "changes/mount_record.h"

#include <array>
#include <charconv>
#include <sstream>

#include "common/path_parts.h"

namespace {

constexpr int kHexadecimal = 16;
constexpr std::size_t kDigitsOfByte = 2;
constexpr std::string_view kDigits = "0123456789abcdef";

std::string HexOf(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte / kHexadecimal];
    text += kDigits[byte % kHexadecimal];
  }
  return text;
}

std::uint64_t NumberOf(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, kHexadecimal);
  return number;
}

std::string BytesOf(std::string_view text) {
  std::string bytes;
  for (; text.size() >= kDigitsOfByte; text.remove_prefix(kDigitsOfByte)) {
    bytes += static_cast<char>(NumberOf(text.substr(0, kDigitsOfByte)));
  }
  return bytes;
}

}  // namespace

std::string MountText(const MountRecord& mounts) {
  std::ostringstream text;
  text << std::hex;
  for (const auto& [path, devices] : mounts) {
    text << (text.tellp() > 0 ? " " : "") << HexOf(path);
    for (const std::uint64_t device : devices) text << ':' << device;
  }
  return text.str();
}

MountRecord ParseMountText(std::string_view text) {
  MountRecord mounts;
  std::istringstream words{std::string(text)};
  for (std::string word; words >> word;) {
    std::istringstream parts(word);
    std::string part;
    std::getline(parts, part, ':');
    std::set<std::uint64_t>& devices = mounts[BytesOf(part)];
    while (std::getline(parts, part, ':')) devices.insert(NumberOf(part));
  }
  return mounts;
}

MountRecord MountRecordOf(const std::map<std::string, std::uint64_t>& mounts) {
  MountRecord record;
  for (const auto& [path, device] : mounts) record[path].insert(device);
  return record;
}

MountRecord::const_iterator NearestMount(const MountRecord& mounts, const std::string& path) {
  for (std::string at = path; !at.empty(); at = FolderOf(at)) {
    if (const auto mount = mounts.find(at); mount != mounts.end()) return mount;
  }
  return mounts.end();
}

std::uint64_t RecordedDevice(const MountRecord& mounts, const std::string& path) {
  const auto mount = NearestMount(mounts, path);
  if (mount == mounts.end()) return kDeviceOfLibrary;
  return mount->second.size() == 1 ? *mount->second.begin() : kSomeOtherDevice;
}
