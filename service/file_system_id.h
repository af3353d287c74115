#ifndef SERVICE_FILE_SYSTEM_ID_H_
#define SERVICE_FILE_SYSTEM_ID_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

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

#endif  // SERVICE_FILE_SYSTEM_ID_H_
