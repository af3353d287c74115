// On which file systems below a library its rows lie, as its database keeps it: for a catalogue that is lost
// together with a disk.
#ifndef SERVICE_CHANGES_MOUNT_RECORD_H_
#define SERVICE_CHANGES_MOUNT_RECORD_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "files/file_stamp.h"

// The folders below the library, by their paths, on which another file system begins, and which ones (as
// stamps have them): several where it was exchanged and rows of both are there.
using MountRecord = std::map<std::string, std::set<std::uint64_t>>;

// One line of ASCII, whatever the paths are; "" for none.
std::string MountText(const MountRecord& mounts);
MountRecord ParseMountText(std::string_view text);

// Of what is mounted now.
MountRecord MountRecordOf(const std::map<std::string, std::uint64_t>& mounts);

// The folder at or above PATH at which a file system begins; the end of MOUNTS where none is known.
MountRecord::const_iterator NearestMount(const MountRecord& mounts, const std::string& path);

// Where what is under PATH lies, for its stamp: no file system's number where there were several.
std::uint64_t RecordedDevice(const MountRecord& mounts, const std::string& path);

#endif  // SERVICE_CHANGES_MOUNT_RECORD_H_
