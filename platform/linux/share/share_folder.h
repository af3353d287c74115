#ifndef PLATFORM_LINUX_SHARE_SHARE_FOLDER_H_
#define PLATFORM_LINUX_SHARE_SHARE_FOLDER_H_

#include <optional>
#include <string>
#include <string_view>

// The folder of share NAME, whether it exists or not: what the link <root>/var/services/NAME points to, or
// that path itself where it is no link. NAME is one path component.
std::string ShareFolder(std::string_view name);

// The same; nothing where the link cannot be read and may be there.
std::optional<std::string> KnownShareFolder(std::string_view name);

// Whether NAME can stand as one component of a path.
bool IsPlainName(std::string_view name);

#endif  // PLATFORM_LINUX_SHARE_SHARE_FOLDER_H_
