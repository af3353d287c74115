// What the text of a statement tells before it is sent to PostgreSQL.
#ifndef PLATFORM_LINUX_DB_POSTGRES_TEXT_H_
#define PLATFORM_LINUX_DB_POSTGRES_TEXT_H_

#include <string>
#include <string_view>

#include "db/engine.h"

// One SELECT that only reads, and nothing behind it. What could hide more from so simple a look (quoted
// names, comments, other kinds of literals) counts as more.
[[nodiscard]] bool IsLoneSelect(std::string_view sql);

// Nothing in it begins or ends a transaction, so that outside of one its statements are kept or undone
// together. What could hide such a word counts as one.
[[nodiscard]] bool IsOneTransaction(std::string_view sql);

// Its first word is WORD, whatever the letter case.
[[nodiscard]] bool BeginsWith(std::string_view sql, std::string_view word);

// SQL with the clauses of WINDOW; on a line of their own, so that a comment at the end does not swallow them.
[[nodiscard]] std::string WithLimit(std::string_view sql, Window window);

#endif  // PLATFORM_LINUX_DB_POSTGRES_TEXT_H_
