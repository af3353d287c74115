#ifndef PLATFORM_LINUX_PROCESS_JPEG_HEAD_H_
#define PLATFORM_LINUX_PROCESS_JPEG_HEAD_H_

#include <string>

// What stands before the picture in the JPEG that is open as DESCRIPTOR, without its colour profiles, as a
// JPEG of its own. It ends where the file does, and at the latest where it has more metadata than is read.
[[nodiscard]] std::string HeadWithoutProfiles(int descriptor);

#endif  // PLATFORM_LINUX_PROCESS_JPEG_HEAD_H_
