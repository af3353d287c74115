#ifndef PLATFORM_LINUX_CORE_ROOTED_PATH_H_
#define PLATFORM_LINUX_CORE_ROOTED_PATH_H_

#include <string>
#include <string_view>

// The real place of the fixed path PATH: behind the folder that LUMIVAULT_ROOT names, if it names one. The
// variable is read at each call. Below one that is too long (platform/files.h) no file can be named by what
// this gives.
std::string RootedPath(std::string_view path);

#endif  // PLATFORM_LINUX_CORE_ROOTED_PATH_H_
