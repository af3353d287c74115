#ifndef PHOTO_DATABASE_STORABLE_TEXT_H_
#define PHOTO_DATABASE_STORABLE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

// TEXT as a column can hold it. A database refuses a whole row for one byte that is not UTF-8, and such bytes
// come from cameras, old side files and records whose fields cut a character in two. So: valid text stays as
// it is; text that is UTF-8 but for a character cut at its end loses that character; anything else is taken
// for the system code page and converted. Text ends at its first NUL. Never used for paths, which are bytes.
std::string StorableText(std::string_view text);
// The same, cut to SIZE bytes, terminator included, at a character.
std::string StorableText(std::string_view text, std::size_t size);

#endif  // PHOTO_DATABASE_STORABLE_TEXT_H_
