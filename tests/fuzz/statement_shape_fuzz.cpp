// Statements of any text, made of SQL words and bytes: one that has a shape does the same with its values as
// parameters as it does with them in its text, and the shape with its values put back has that shape again.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "base/ascii.h"
#include "db/sqlite_statements.h"
#include "db/statement_shape.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/sql_pieces.h"

namespace {

// No index but those of the rows' numbers, so that every plan gives rows in the same order.
constexpr const char* kSchema =
    "PRAGMA automatic_index=OFF;"
    "CREATE TABLE t (id INTEGER PRIMARY KEY CHECK (id < 1000000), a TEXT, n INTEGER DEFAULT 7, r REAL, m "
    "NUMERIC, x, c TEXT COLLATE NOCASE, k CHECK (k IS NULL OR k <> 3));"
    "CREATE TABLE part (t_id INTEGER, p TEXT);"
    "INSERT INTO t VALUES (1, 'abc', 1, 1.5, '1', 1, 'Abc', 1), (2, '1', 2, 2, '01', '1', 'it''s', NULL),"
    "(3, '?', 7, 0.1, 1e3, NULL, '', 0), (5, '', NULL, NULL, NULL, x'31', NULL, 'x');"
    "INSERT INTO part VALUES (1, 'abc'), (1, '1'), (2, ''), (NULL, NULL);";
constexpr const char* kEverything =
    "SELECT 'x', id, quote(a), quote(n), quote(r), quote(m), quote(x), quote(c), quote(k) FROM t UNION ALL "
    "SELECT 'y', t_id, quote(p), 0, 0, 0, 0, 0, 0 FROM part";
// What tells of something else than the statement, or depends on the order of rows within a sum.
constexpr std::array<std::string_view, 22> kOthers{"random",
                                                   "randomblob",
                                                   "changes",
                                                   "total_changes",
                                                   "last_insert_rowid",
                                                   "date",
                                                   "time",
                                                   "datetime",
                                                   "julianday",
                                                   "strftime",
                                                   "unixepoch",
                                                   "current_date",
                                                   "current_time",
                                                   "sum",
                                                   "avg",
                                                   "current_timestamp",
                                                   "total",
                                                   "group_concat",
                                                   "load_extension",
                                                   "zeroblob",
                                                   "printf",
                                                   "format"};

int Permit(void* /*context*/, int action, const char* first, const char* second, const char* /*database*/,
           const char* /*trigger*/) {
  if (action == SQLITE_PRAGMA || action == SQLITE_ATTACH || action == SQLITE_DETACH) return SQLITE_DENY;
  if (action == SQLITE_READ && std::string_view(first).starts_with("sqlite_")) return SQLITE_DENY;
  if (action != SQLITE_FUNCTION) return SQLITE_OK;
  const std::string_view name(second);
  const bool other = std::find(kOthers.begin(), kOthers.end(), name) != kOthers.end();
  return other || name.starts_with("json_group") ? SQLITE_DENY : SQLITE_OK;
}

struct Close {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};

class Judge {
 public:
  Judge() {
    sqlite3* opened = nullptr;
    Require(sqlite3_open(":memory:", &opened) == SQLITE_OK, "open");
    database_.reset(opened);
    Run(kSchema);
    constexpr int kLongestValue = 20'000;
    sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, kLongestValue);
    sqlite3_set_authorizer(opened, Permit, nullptr);
  }

  // What SQL does, and leaves; nothing for what cannot be prepared or takes too long.
  std::optional<std::string> Told(const std::string& sql, const std::vector<StatementShape::Value>& values) {
    Run("BEGIN");
    std::optional<std::string> told = ToldOf(sql, values);
    if (told && sqlite3_get_autocommit(database_.get()) == 0) *told += Rows(kEverything, {}).value_or("");
    if (sqlite3_get_autocommit(database_.get()) == 0) Run("ROLLBACK");
    return told;
  }

 private:
  void Run(const char* sql) {
    Require(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK, "judge", sql);
  }

  std::optional<std::string> ToldOf(const std::string& sql,
                                    const std::vector<StatementShape::Value>& values) {
    const int before = sqlite3_total_changes(database_.get());
    std::optional<std::string> told = Rows(sql, values);
    if (told) *told += std::to_string(sqlite3_total_changes(database_.get()) - before) + " changed\n";
    return told;
  }

  static void Bind(sqlite3_stmt* statement, const std::vector<StatementShape::Value>& values) {
    int place = 0;
    for (const StatementShape::Value& value : values) {
      ++place;
      if (const auto* number = std::get_if<std::int64_t>(&value)) {
        Require(sqlite3_bind_int64(statement, place, *number) == SQLITE_OK, "not bound");
      } else {
        const auto* fraction = std::get_if<Fraction>(&value);
        const std::string& text = fraction != nullptr ? fraction->text : std::get<std::string>(value);
        Require(sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8) ==
                    SQLITE_OK,
                "not bound");
      }
    }
  }

  static std::string Row(sqlite3_stmt* statement) {
    std::string row;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
      row += text != nullptr ? "[" + std::string(text) + "]" : "-";
    }
    return row;
  }

  // The rows in an order of their own, with the columns' names.
  std::optional<std::string> Rows(const std::string& sql, const std::vector<StatementShape::Value>& values) {
    constexpr int kSteps = 20'000;
    constexpr std::size_t kMostRows = 1'000;
    int code = SQLITE_OK;
    const SqliteStatement statement = PrepareOnce(database_.get(), sql, code);
    if (statement == nullptr || sqlite3_bind_parameter_count(statement.get()) != std::ssize(values))
      return std::nullopt;
    Bind(statement.get(), values);
    sqlite3_progress_handler(
        database_.get(), kSteps, [](void*) { return 1; }, nullptr);
    std::vector<std::string> rows;
    while (sqlite3_step(statement.get()) == SQLITE_ROW && rows.size() < kMostRows)
      rows.push_back(Row(statement.get()));
    sqlite3_progress_handler(database_.get(), 0, nullptr, nullptr);
    std::string told;
    for (int i = 0; i < sqlite3_column_count(statement.get()); ++i)
      told += std::string(sqlite3_column_name(statement.get(), i)) + "|";
    code = sqlite3_reset(statement.get());
    if (code == SQLITE_INTERRUPT || rows.size() == kMostRows) return std::nullopt;
    std::sort(rows.begin(), rows.end());
    for (const std::string& row : rows) told += row + "\n";
    return told + "code " + std::to_string(code) + "\n";
  }

  std::unique_ptr<sqlite3, Close> database_;
};

std::string PutBack(const StatementShape& shape) {
  std::string sql;
  std::size_t value = 0;
  for (const char c : shape.text) {
    if (c != '?' || value == shape.values.size()) {
      sql += c;
    } else if (const auto* fraction = std::get_if<Fraction>(&shape.values[value])) {
      sql += fraction->text;
      ++value;
    } else if (const auto* number = std::get_if<std::int64_t>(&shape.values[value])) {
      sql += std::to_string(*number);
      ++value;
    } else {
      sql += '\'';
      for (const char letter : std::get<std::string>(shape.values[value]))
        sql += letter == '\'' ? "''" : std::string(1, letter);
      sql += '\'';
      ++value;
    }
  }
  return sql;
}

bool HasWord(std::string_view sql, std::string_view wanted) {
  for (std::size_t at = 0; at < sql.size(); ++at) {
    if (EqualsIgnoreAsciiCase(sql.substr(at, wanted.size()), wanted)) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Judge judge;
  std::string sql = Pieced(TextOf(data, size), kStatementPieces);
  sql.resize(std::min(sql.find('\0'), sql.size()));
  const auto shape = ShapeOf(sql);
  if (!shape) return 0;
  Require(shape->text.find_first_of("\"`[;:@$#\\") == std::string::npos || HasWord(shape->text, "order") ||
              HasWord(shape->text, "group") || HasWord(shape->text, "limit"),
          "an uncertain sign", shape->text);
  // Behind ORDER, GROUP and LIMIT texts stay, which may have question marks.
  const std::string back = PutBack(*shape);
  const auto again = ShapeOf(back);
  Require(again && again->text == shape->text && again->values == shape->values, "another shape", back);
  // Which rows are within a limit may be another question for each plan.
  if (HasWord(sql, "limit")) return 0;
  const auto kept = judge.Told(ShapeOf(sql, "CAST(? AS REAL)")->text, shape->values);
  if (!kept) return 0;
  const auto plain = judge.Told(sql, {});
  if (plain) Require(*kept == *plain, "a kept statement does another thing", sql + "\n" + *kept + *plain);
  return 0;
}
