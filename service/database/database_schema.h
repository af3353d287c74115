// Whether a library's database has the tables, columns and keys of today, and how it gets them.
#ifndef SERVICE_DATABASE_DATABASE_SCHEMA_H_
#define SERVICE_DATABASE_DATABASE_SCHEMA_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/outcome.h"
#include "database/database_reader.h"

struct SchemaGap {
  std::string table;
  std::string column;  // "" where it is no column that is missing
  std::string key;     // the unique index; "" where the whole table is missing
};

// What DATABASE lacks. Empty: it is complete.
Outcome<std::vector<SchemaGap>> FindSchemaGaps(DatabaseReader& database);

// It has the keys that keep rows from being there twice. Those of the first days did not; the schema script
// adds them.
[[nodiscard]] bool HasKeys(DatabaseReader& database);

// How the schema SCRIPT defines a column ("lat DOUBLE PRECISION"); nothing when it does not.
std::optional<std::string> ColumnDefinition(std::string_view script, std::string_view table,
                                            std::string_view column);

// The statement of the schema SCRIPT that makes TABLE, as it stands there; nothing when there is none.
std::optional<std::string> TableStatement(std::string_view script, std::string_view table);

// The statement that adds the missing column of GAP to DATABASE; nothing for a table or a key.
std::optional<std::string> AddColumnStatement(const DatabaseReader& database, std::string_view script,
                                              const SchemaGap& gap);

// The text of the schema script of the shared database.
Outcome<std::string> SharedSchema();

#endif  // SERVICE_DATABASE_DATABASE_SCHEMA_H_
