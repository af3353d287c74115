#ifndef SERVICE_FILES_FILE_SYSTEM_ID_H_
#define SERVICE_FILES_FILE_SYSTEM_ID_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

// What a file system tells of itself and of the folder that is mounted.
struct FileSystemFacts {
  std::uint64_t id = 0;      // its own, 0 where it has none
  std::int64_t type = 0;     // as statfs has it
  std::uint64_t device = 0;  // the number of today
  std::uint64_t inode = 0;
  std::int64_t birth = 0;  // of the folder, in nanoseconds; 0 where it does not tell
  std::string name;        // of the device, in /dev/disk/by-uuid; "" without
};

// Tells it from others. Some make their id of the device's number, which the same disk gets anew: it counts
// only where neither the folder's birth nor a name of the device tells.
std::uint64_t FileSystemId(const FileSystemFacts& facts);

// Tells the file system that begins at the folder with the descriptor FOLDER and the state STATUS, or the
// part of one that is shown there, from any other in the same place: by the file system's own id, and object
// and birth time of the folder. Device numbers are given to others and change when a disk is mounted again;
// they count only where there is nothing else. Never a number that a device can have.
std::uint64_t FileSystemId(int folder, const struct statx& status);

// A catalogue with this fact has these in its stamps; an earlier one had the numbers of devices.
inline constexpr const char* kFileSystemsFact = "file_systems";

std::uint64_t DeviceOf(const struct statx& status);

// What the links in BY_NAME call the block device NUMBER; "" when none leads to it.
std::string NameOfDevice(dev_t number, const std::string& by_name = "/dev/disk/by-uuid");

#endif  // SERVICE_FILES_FILE_SYSTEM_ID_H_
