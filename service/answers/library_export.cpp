#include "answers/library_export.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "common/display.h"
#include "database/library_tables.h"
#include "database/table_sql.h"
#include "database/typed_value.h"

namespace {

using Row = DatabaseReader::Row;
using Key = std::vector<std::string>;

constexpr const char* kTableMember = "table";
// Where the key's columns come back; no table has columns of these names.
constexpr std::array kKeyAliases{"key_1", "key_2"};

enum class Step { kDone, kStopped, kUnreadable };

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

// One table on its way out.
class TableExport {
 public:
  TableExport(DatabaseReader& database, const LibraryTable& table, bool with_ids, const LineWriter& write)
      : database_(database),
        table_(table),
        write_(write),
        keys_(Joined({table.keys.begin(), table.keys.end()})) {
    for (std::size_t i = 0; i < table.keys.size(); ++i) Select(table.keys[i], kKeyAliases[i]);
    key_list_ = Joined(expressions_);
    for (const Column& column : table.columns) {
      if (with_ids || column.lasting()) SelectMember(std::string("T.") + column.name, column);
    }
    for (const Reference& reference : table.references) SelectMember(reference.sql, reference.column);
  }

  Step Run() {
    if (const Step step = WriteKeyless(); step != Step::kDone) return step;
    const Step step = database_.on_server() ? WriteWithCursor() : WriteInParts();
    return step == Step::kDone ? WriteLinesOfKey() : step;
  }

 private:
  void Select(const std::string& expression, const char* name) {
    expressions_.push_back(expression + " AS " + name);
    result_names_.push_back(name);
  }
  void SelectMember(const std::string& expression, const Column& column) {
    Select(expression, column.name);
    members_.push_back(column);
  }

  std::string KeyCondition(const char* sql, const std::optional<Key>& key) const {
    if (!key) return kEveryKeySql;
    std::vector<std::string> literals;
    for (const std::string& value : *key) literals.push_back(database_.Escaped(kKeyLiteral, value));
    return database_.Escaped(sql, keys_, Joined(literals));
  }

  Key KeyOf(const Row& row) const {
    Key key;
    for (std::size_t i = 0; i < table_.keys.size(); ++i) key.push_back(row[i].value_or(""));
    return key;
  }

  // The key at which the part behind AFTER ends; none: the rest is one part. Nothing at all on failure.
  std::optional<std::optional<Key>> FindEnd(const std::optional<Key>& after) {
    const DatabaseReader::Columns columns(result_names_.begin(),
                                          result_names_.begin() + std::ssize(table_.keys));
    const auto rows = database_.Query(columns, kPartEndSql, key_list_, std::string(table_.keys_from),
                                      KeyCondition(kAfterKeySql, after), keys_);
    if (!rows) return std::nullopt;
    return rows->empty() ? std::optional<Key>() : KeyOf(rows->front());
  }

  // An SQLite index gives the rows in the order of their keys, from any key on.
  Step WriteInParts() {
    std::optional<Key> after;
    do {
      const auto ends = FindEnd(after);
      if (!ends) return Step::kUnreadable;
      std::optional<Key> end = *ends;
      if (end == after) end.reset();  // a key that compares as no text does
      if (const Step step = WritePart(after, end); step != Step::kDone) return step;
      after = std::move(end);
    } while (after);
    return Step::kDone;
  }

  // The indexes of keys on PostgreSQL have no order; it sorts once, on its disk, and gives some at a time.
  Step WriteWithCursor() {
    if (!database_.Query({}, kOpenCursorSql, Joined(expressions_), std::string(table_.rows), keys_))
      return Step::kUnreadable;
    for (;;) {
      const auto rows = database_.Query(result_names_, kFetchSql);
      if (const Step step = Write(rows); step != Step::kDone) return step;
      if (rows->empty()) return database_.Run(kCloseCursorSql) ? Step::kDone : Step::kUnreadable;
    }
  }

  Step WritePart(const std::optional<Key>& after, const std::optional<Key>& end) {
    const std::string condition =
        KeyCondition(kAfterKeySql, after) + " AND " + KeyCondition(kUpToKeySql, end);
    return Write(database_.Query(result_names_, kPartRowsSql, Joined(expressions_), std::string(table_.rows),
                                 condition, keys_));
  }

  // These rows have no key to be read with, so theirs is null.
  Step WriteKeyless() {
    if (table_.keyless == nullptr) return Step::kDone;
    std::vector<std::string> expressions = expressions_;
    for (std::size_t i = 0; i < table_.keys.size(); ++i)
      expressions[i] = std::string("NULL AS ") + result_names_[i];
    const Step step = Write(
        database_.Query(result_names_, kKeylessRowsSql, Joined(expressions), std::string(table_.keyless)));
    return step == Step::kDone ? WriteLinesOfKey() : step;
  }

  // Rows in the order of their keys, and rows of one key in the order of their texts.
  Step Write(const std::optional<std::vector<Row>>& rows) {
    if (!rows) return Step::kUnreadable;
    for (const Row& row : *rows) {
      if (!lines_.empty() && KeyOf(row) != key_ && WriteLinesOfKey() == Step::kStopped) return Step::kStopped;
      key_ = KeyOf(row);
      lines_.push_back(RowJson(row));
    }
    return Step::kDone;
  }

  // All rows of the current key are there.
  Step WriteLinesOfKey() {
    std::sort(lines_.begin(), lines_.end());
    const bool written = std::all_of(lines_.begin(), lines_.end(), write_);
    lines_.clear();
    return written ? Step::kDone : Step::kStopped;
  }

  std::string RowJson(const Row& row) const {
    Json::Value object(Json::objectValue);
    object[kTableMember] = table_.name;
    std::size_t index = table_.keys.size();
    for (const Column& column : members_) SetValue(object, column.name, row[index++], column.number());
    return JsonLine(object);
  }

  DatabaseReader& database_;
  const LibraryTable& table_;
  const LineWriter& write_;
  const std::string keys_;
  std::string key_list_;                  // the key's columns under their aliases
  std::vector<std::string> expressions_;  // what is selected: the key's columns, then the members
  DatabaseReader::Columns result_names_;  // as what it comes back
  std::vector<Column> members_;
  Key key_;
  std::vector<std::string> lines_;  // the rows of that key
};

}  // namespace

Outcome<bool> ExportLibrary(DatabaseReader& database, bool with_ids, const LineWriter& write) {
  if (!database.BeginReading()) return Unreadable(database);
  for (const LibraryTable& table : LibraryTables()) {
    const Step step = TableExport(database, table, with_ids, write).Run();
    if (step == Step::kUnreadable) return Unreadable(database);
    if (step == Step::kStopped) return false;
  }
  return true;
}
