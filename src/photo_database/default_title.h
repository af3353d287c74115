#ifndef PHOTO_DATABASE_DEFAULT_TITLE_H_
#define PHOTO_DATABASE_DEFAULT_TITLE_H_

#include <optional>
#include <string>
#include <string_view>

// The title that a file has by default: its base name up to the last '.'. Nothing when PATH has no '/' or its
// base name no '.' or no room in a title.
[[nodiscard]] std::optional<std::string> DefaultTitle(std::string_view path);

#endif  // PHOTO_DATABASE_DEFAULT_TITLE_H_
