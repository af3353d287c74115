// Names and texts on their way to people and to JSON. A file name is any bytes but '/' and NUL.
#ifndef SERVICE_COMMON_DISPLAY_H_
#define SERVICE_COMMON_DISPLAY_H_

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

// TEXT with backslashes, bytes that are not UTF-8 and characters that nobody sees written as \\, \n, \t and
// \xHH, so that a name can neither steer a terminal nor look like a second line or like another name. Nobody
// sees control characters, what turns the direction of writing or breaks lines, and what has no width; the
// joiners of some scripts and of emoji are among them, since two names that differ in one look the same.
std::string Visible(std::string_view text);
// The same for a text that may have parts that were made visible: its backslashes stay.
std::string OnOneLine(std::string_view text);
// Visible(TEXT) for a terminal, else TEXT itself, which another program can use.
std::string Shown(std::string_view text, bool terminal);
// What a message says of a file, a folder or a database: "PATH: WHY", PATH made visible.
std::string AboutFile(std::string_view path, std::string_view why);
// As much of UTF-8 TEXT as a terminal shows in WIDTH columns; one that was cut ends in "...".
std::string Fitted(std::string_view text, std::size_t width);

// TEXT with every byte that is not UTF-8 replaced by U+FFFD.
std::string ValidUtf8(std::string_view text);
// Sets OBJECT[KEY] to TEXT; where TEXT is not UTF-8 its bytes are in OBJECT[KEY_base64] besides.
void SetBytes(Json::Value& object, const char* key, std::string_view text);
// VALUE on one line, valid UTF-8, without a line end. Characters that nobody sees are written as \uHHHH.
std::string JsonLine(const Json::Value& value);

#endif  // SERVICE_COMMON_DISPLAY_H_
