// Whether a database's schema is one that holds data and does nothing else: whoever owns the file may have
// written any.
#ifndef PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_
#define PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_

#include <string>
#include <string_view>

// What of one object of a schema, as it was CREATEd, does more than hold data ("the view photo_image", "a
// generated column in the table t"); "" when nothing does. Which tables and columns there are does not
// matter: nobody reads those that are not ours, and older libraries have fewer. Accepted are tables of plain
// columns and indexes; checks, defaults and indexes whose expressions call nothing are, too.
[[nodiscard]] std::string ForeignPartOf(std::string_view created);

#endif  // PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_
