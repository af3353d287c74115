#ifndef SERVICE_FILES_FILE_STAMP_H_
#define SERVICE_FILES_FILE_STAMP_H_

#include <cstddef>
#include <cstdint>
#include <functional>

// What the device of a stamp is on the file system of the library's own folder.
inline constexpr std::uint64_t kDeviceOfLibrary = 0;
// What the device of a stamp is where nobody has noted it, and where it may be one of several.
inline constexpr std::uint64_t kUnknownDevice = ~std::uint64_t{0};
inline constexpr std::uint64_t kSomeOtherDevice = kUnknownDevice - 1;

inline constexpr std::int64_t kNanosecondsOfSecond = 1'000'000'000;

// What tells one state of a file or folder from another. Times are nanoseconds since 1970.
struct FileStamp {
  // kDeviceOfLibrary whatever that one's number is today: numbers of devices change when disks are mounted
  // again. Else what tells the file system that begins at the nearest folder above (file_system_id.h); the
  // device's number for a file that is mounted there itself.
  std::uint64_t device = kDeviceOfLibrary;
  std::uint64_t inode = 0;
  std::int64_t birth = 0;  // 0 where the file system does not tell
  std::int64_t size = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;  // of the inode: modes and owners too

  // The same file or folder, whatever its name and content are now. Inode numbers are used again, birth times
  // are not.
  bool SameObject(const FileStamp& other) const {
    return device == other.device && inode == other.inode && birth == other.birth;
  }
  bool SameContent(const FileStamp& other) const { return size == other.size && modified == other.modified; }
};

struct ObjectHash {
  std::size_t operator()(const FileStamp& stamp) const {
    constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15U;
    return std::hash<std::uint64_t>()((stamp.inode ^ (stamp.device * kSpread)) +
                                      static_cast<std::uint64_t>(stamp.birth));
  }
};
struct ObjectEqual {
  bool operator()(const FileStamp& a, const FileStamp& b) const { return a.SameObject(b); }
};

#endif  // SERVICE_FILES_FILE_STAMP_H_
