#include "db/sqlite_schema_look.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "db/sqlite_distrust.h"
#include "db/sqlite_schema_check.h"

namespace {

// A library has some forty objects, in 20 KiB.
constexpr std::size_t kMostObjects = 1000;
constexpr std::size_t kMostTexts = std::size_t{1} << 20;
constexpr const char* kTooMuch = "more than a library has";
constexpr const char* kKeepElsewhere = "Keep what is no library's in a database of its own.";
// An index that claims to be of this table is in the schema itself, and answers whatever it likes.
constexpr const char* kSchema = "SELECT sql, tbl_name FROM main.sqlite_master NOT INDEXED ORDER BY rowid";

std::string_view TextOf(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text != nullptr ? text : std::string_view();
}

std::string RefusalText(const ForeignPart& part) {
  return "Its schema is not ours: " + part.what + ". " + part.remedy;
}

}  // namespace

// The rows of the schema, until it is too large.
struct SqliteSchemaLook::Rows {
  std::vector<std::pair<std::string, std::string>> texts;
  std::size_t bytes = 0;
  bool too_many = false;

  void Add(sqlite3_stmt* row) {
    texts.emplace_back(TextOf(row, 0), TextOf(row, 1));
    bytes += texts.back().first.size() + texts.back().second.size();
    too_many = texts.size() > kMostObjects || bytes > kMostTexts;
  }
};

// An index that SQLite has made for a key has no text.
std::string SqliteSchemaLook::ForeignIn(const Rows& rows) {
  if (rows.too_many) return RefusalText({kTooMuch, kKeepElsewhere});
  std::vector<SchemaObject> schema;
  for (const auto& [created, table] : rows.texts) {
    if (!created.empty()) schema.push_back({created, table});
  }
  const auto foreign = FindForeignPart(schema);
  return foreign ? RefusalText(*foreign) : "";
}

bool SqliteSchemaLook::Holds() {
  if (witness_ != nullptr) sqlite3_step(witness_.get());
  known_ = witness_ != nullptr && sqlite3_reset(witness_.get()) == SQLITE_OK;
  return known_;
}

void SqliteSchemaLook::PrepareAnew() {
  int ignored = SQLITE_OK;
  witness_ = PrepareOnce(database_, "SELECT 1 FROM main.sqlite_master LIMIT 1", ignored);
}

int SqliteSchemaLook::Look(std::string& text) {
  const int code = LookAnew(text);
  known_ = code == SQLITE_OK;
  foreign_ = code == SQLITE_AUTH;
  return code;
}

// Let go of first: it may have been read at another moment.
int SqliteSchemaLook::LookAnew(std::string& text) {
  witness_.reset();
  int code = Run("PRAGMA writable_schema=RESET", text);
  if (code != SQLITE_OK) return code;
  if (sqlite3_get_autocommit(database_) == 0) return LookInTransaction(text);
  code = Run("BEGIN", text);
  if (code == SQLITE_OK) code = LookInTransaction(text);
  std::string ignored;
  static_cast<void>(Run("COMMIT", ignored));
  return code;
}

// The first of these has SQLite see the file as it is from here on.
int SqliteSchemaLook::LookInTransaction(std::string& text) {
  const int code = Run("PRAGMA schema_version", text);
  if (code != SQLITE_OK) return code;
  const SchemaBounds bounds(database_);
  const SqliteWatch::OfSchema bounded(watch_);
  Rows rows;
  const int read = Read(rows, text);
  if (read == SQLITE_TOOBIG || bounded.exceeded()) rows.too_many = true;
  const bool is_readable = read == SQLITE_OK || rows.too_many;
  if (!is_readable && !text.starts_with("malformed database schema")) return read;
  text = is_readable ? ForeignIn(rows) : RefusalText({text, kKeepElsewhere});
  if (!text.empty()) return SQLITE_AUTH;
  // The header may ask for a cache of any size.
  const int set = Run("PRAGMA cache_size=-2000", text);
  if (set == SQLITE_OK) PrepareAnew();
  return set;
}

int SqliteSchemaLook::Read(Rows& rows, std::string& text) const {
  int code = SQLITE_OK;
  const SqliteStatement statement = PrepareOnce(database_, kSchema, code);
  while (statement != nullptr && !rows.too_many && sqlite3_step(statement.get()) == SQLITE_ROW)
    rows.Add(statement.get());
  if (statement != nullptr) code = sqlite3_reset(statement.get());
  if (code != SQLITE_OK) text = sqlite3_errmsg(database_);
  return code;
}

int SqliteSchemaLook::Run(const char* sql, std::string& text) const {
  const int code = sqlite3_exec(database_, sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) text = sqlite3_errmsg(database_);
  return code;
}
