// The side file that the owner of the process has lent to this thread (platform/side_file_lending.h).
#ifndef PLATFORM_LINUX_SHARE_LENT_SIDE_FILE_H_
#define PLATFORM_LINUX_SHARE_LENT_SIDE_FILE_H_

#include <string>
#include <string_view>

#include "base/file_descriptor.h"

// It is PATH below ROOT, and nobody has taken it yet. Leaves errno as it was.
[[nodiscard]] bool IsLentSideFile(const std::string& root, const std::string& path);
// It lies in FOLDER, and nobody has taken it yet.
[[nodiscard]] bool HoldsLentSideFile(std::string_view folder);
// Its text, open for reading. Empty with errno on failure.
[[nodiscard]] FileDescriptor OpenLentSideFile();
void TakeLentSideFile();

#endif  // PLATFORM_LINUX_SHARE_LENT_SIDE_FILE_H_
