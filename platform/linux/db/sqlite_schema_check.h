// Whether a database's schema is one that holds data and does nothing else: whoever owns the file may have
// written any.
#ifndef PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_
#define PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One row of the schema: the text that CREATEd it, and the table that it belongs to as the row has it.
struct SchemaObject {
  std::string_view created;
  std::string_view table;
};

// In words for people ("the view photo_image", "a generated column in the table t"), and what they can do
// about it, a sentence.
struct ForeignPart {
  std::string what;
  std::string remedy;
};

// The first of SCHEMA that does more than hold data; nothing when none does. Which tables and columns there
// are does not matter: nobody reads those that are not ours, and older libraries have fewer. Accepted are
// tables of plain columns, and indexes. What they compute is evaluated where a row is written: on tables of
// ours, and those that foreign keys write along, a short comparison is the most; on other people's own
// anything that is no computed column.
[[nodiscard]] std::optional<ForeignPart> FindForeignPart(const std::vector<SchemaObject>& schema);

#endif  // PLATFORM_LINUX_DB_SQLITE_SCHEMA_CHECK_H_
