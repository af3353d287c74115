// SQLite's LIKE on text that is not ASCII.
//
// It reads text as characters and takes each byte that belongs to none for U+FFFD or for the character of its
// number, so a name in Latin-1 matches other names. A LIKE of a column with such a literal is therefore
// joined by a comparison of the bytes; the LIKE itself stays, for letter case and for the index.
#ifndef PLATFORM_LINUX_DB_SQLITE_BYTE_LIKE_H_
#define PLATFORM_LINUX_DB_SQLITE_BYTE_LIKE_H_

#include <optional>
#include <string>
#include <string_view>

struct sqlite3;

// Makes what WithByteLike writes known to DATABASE. False when there is no memory.
[[nodiscard]] bool AddByteLike(sqlite3* database);

// SQL with each condition "column LIKE 'text' [ESCAPE 'c']" whose text is not ASCII replaced by
// "(column LIKE 'text' [ESCAPE 'c'] AND lumivault_like_bytes(column, 'text'[, 'c']))", and NOT LIKE by the
// NOT of that. Nothing when there is none.
[[nodiscard]] std::optional<std::string> WithByteLike(std::string_view sql);

#endif  // PLATFORM_LINUX_DB_SQLITE_BYTE_LIKE_H_
