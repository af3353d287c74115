#include "database/database_schema.h"

#include <errno.h>

#include <array>
#include <map>
#include <set>

#include "base/ascii.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/installation.h"
#include "database/library_tables.h"
#include "database/schema_sql.h"

namespace {

// The tables whose key came later than they did, by name. Each key is called after its table.
constexpr std::array kKeyedTables{
    "photo_access_right",
    "photo_access_right_for_zor_account",
    "photo_image_label",
    "photo_manage_right",
    "photo_manage_right_for_zor_account",
    "photo_upload_right",
    "photo_upload_right_for_zor_account",
};
constexpr const char* kKeySuffix = "_key";

std::string HeadOf(std::string_view table) {
  return std::string("CREATE TABLE IF NOT EXISTS ").append(table).append(" (");
}

// The definitions between the parentheses of a CREATE TABLE, without comments.
std::string TableBody(std::string_view script, std::string_view table) {
  const std::string head = HeadOf(table);
  const std::size_t at = script.find(head);
  if (at == std::string_view::npos) return "";
  std::string body;
  int depth = 1;
  for (script.remove_prefix(at + head.size()); !script.empty(); script.remove_prefix(1)) {
    if (script.starts_with("--")) script.remove_prefix(std::min(script.find('\n'), script.size() - 1));
    depth += script.front() == '(' ? 1 : 0;
    depth -= script.front() == ')' ? 1 : 0;
    if (depth == 0) break;
    body += script.front();
  }
  return body;
}

// The definitions of BODY, which commas outside parentheses separate.
std::vector<std::string> Definitions(std::string_view body) {
  std::vector<std::string> definitions(1);
  int depth = 0;
  for (const char c : body) {
    depth += c == '(' ? 1 : 0;
    depth -= c == ')' ? 1 : 0;
    if (c == ',' && depth == 0) {
      definitions.emplace_back();
    } else {
      definitions.back() += c;
    }
  }
  return definitions;
}

// The keys that DATABASE lacks, but for those of tables that it has not either.
Outcome<std::vector<SchemaGap>> FindKeyGaps(DatabaseReader& database) {
  const auto rows = database.Query({"name"}, database.on_server() ? kNamesOfPostgres : kNamesOfSqlite);
  if (!rows) return Unreadable(database);
  std::set<std::string> present;
  for (const DatabaseReader::Row& row : *rows) present.insert(row[0].value_or(""));
  std::vector<SchemaGap> gaps;
  for (const std::string table : kKeyedTables) {
    if (present.contains(table) && !present.contains(table + kKeySuffix))
      gaps.push_back({table, "", table + kKeySuffix});
  }
  return gaps;
}

// The tables and columns that DATABASE lacks.
Outcome<std::vector<SchemaGap>> FindColumnGaps(DatabaseReader& database) {
  const char* sql = database.on_server() ? kColumnsOfPostgres : kColumnsOfSqlite;
  const auto rows = database.Query({"table_name", "column_name"}, sql);
  if (!rows) return Unreadable(database);
  std::map<std::string, std::set<std::string>> present;
  for (const DatabaseReader::Row& row : *rows) present[row[0].value_or("")].insert(row[1].value_or(""));
  std::vector<SchemaGap> gaps;
  for (const LibraryTable& table : LibraryTables()) {
    const auto columns = present.find(table.name);
    if (columns == present.end()) {
      gaps.push_back({table.name, "", ""});
      continue;
    }
    for (const Column& column : table.columns) {
      if (!columns->second.contains(column.name)) gaps.push_back({table.name, column.name, ""});
    }
  }
  return gaps;
}

}  // namespace

Outcome<std::vector<SchemaGap>> FindSchemaGaps(DatabaseReader& database) {
  auto gaps = FindColumnGaps(database);
  if (!gaps) return gaps;
  auto keys = FindKeyGaps(database);
  if (!keys) return keys;
  gaps->insert(gaps->end(), keys->begin(), keys->end());
  return gaps;
}

bool HasKeys(DatabaseReader& database) {
  const auto gaps = FindKeyGaps(database);
  return gaps && gaps->empty();
}

std::optional<std::string> ColumnDefinition(std::string_view script, std::string_view table,
                                            std::string_view column) {
  for (const std::string& definition : Definitions(TableBody(script, table))) {
    const std::string_view text = Trimmed(definition);
    if (text.substr(0, text.find(' ')) == column) return std::string(text);
  }
  return std::nullopt;
}

std::optional<std::string> TableStatement(std::string_view script, std::string_view table) {
  const std::size_t at = script.find(HeadOf(table));
  if (at == std::string_view::npos) return std::nullopt;
  script.remove_prefix(at);
  const std::size_t end = script.find(';');
  return end != std::string_view::npos ? std::optional(std::string(script.substr(0, end + 1))) : std::nullopt;
}

std::optional<std::string> AddColumnStatement(const DatabaseReader& database, std::string_view script,
                                              const SchemaGap& gap) {
  const auto definition = ColumnDefinition(script, gap.table, gap.column);
  if (gap.column.empty() || !definition) return std::nullopt;
  return database.Escaped(kAddColumnSql, gap.table, *definition);
}

Outcome<std::string> SharedSchema() {
  const auto path = SchemaPath(kSharedScript);
  if (!path) return path.failure();
  const auto script = ReadWholeFile(*path);
  if (!script) return Failure{ExitStatus::kConfiguration, AboutFile(*path, ErrorText(errno))};
  return *script;
}
