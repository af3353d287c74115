#include "database/database_reader.h"

#include "base/read_timeout.h"
#include "database/queries_sql.h"
#include "platform/files.h"

namespace {

// Keys differ in the letter case alone; PostgreSQL minds that always.
constexpr const char* kMindLetterCase = "PRAGMA case_sensitive_like=true";
constexpr const char* kLimitQuestions = "SET statement_timeout = ";  // to milliseconds
constexpr const char* kBeginOfSqlite = "BEGIN";
constexpr const char* kBeginOfPostgres = "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY";

// On a server; a connection that is made anew meanwhile has the platform's own limit. Where this fails, so
// will the questions.
void LimitQuestions(DatabaseReader& reader) {
  const auto limit = ReadTimeout();
  if (limit) static_cast<void>(reader.Run((kLimitQuestions + std::to_string(limit->count())).c_str()));
}

}  // namespace

DatabaseReader::DatabaseReader(KAVODB_CONNECTION* connection)
    : connection_(connection), open_error_(KAVODBConnectErrorGet()) {
  if (connection_ == nullptr || on_server() || Run(kMindLetterCase)) return;
  open_error_ = error();
  connection_.reset();
}

DatabaseReader::DatabaseReader(const std::string& file) : open_error_("No such file or directory") {
  // Opening makes a missing file.
  if (!IsFileExist(file.c_str(), nullptr)) return;
  *this = DatabaseReader(KAVODBConnect(nullptr, nullptr, nullptr, file.c_str()));
}

DatabaseReader DatabaseReader::OpenOnServer(const std::string& database) {
  return DatabaseReader(KAVODBConnect(nullptr, kSharedUser, nullptr, database.c_str()));
}

DatabaseReader DatabaseReader::Open(const Library& library) {
  return library.shared() ? OpenOnServer(library.database()) : DatabaseReader(library.database());
}

DatabaseReader DatabaseReader::OpenForReading(const Library& library) {
  if (!library.shared()) return OpenForReading(library.database());
  DatabaseReader reader = OpenOnServer(library.database());
  if (reader) LimitQuestions(reader);
  return reader;
}

DatabaseReader DatabaseReader::OpenForReading(const std::string& file) {
  return DatabaseReader(KAVODBConnectReadOnly(file.c_str()));
}

bool DatabaseReader::BeginReading() {
  return Run(on_server() ? kBeginOfPostgres : kBeginOfSqlite);
}

bool DatabaseReader::IsReadable() {
  return Query({}, on_server() ? kServerAnswersSql : kAnyTableSql).has_value();
}

bool DatabaseReader::HasDatabase(const std::string& name) {
  const auto found = Query({"datname"}, kDatabaseOfServerSql, name);
  return found && !found->empty();
}

bool DatabaseReader::HasSchema() {
  const auto root = Query({"shareid"}, kRootAlbumSql);
  return root && !root->empty();
}

bool DatabaseReader::HasStatistics() {
  const auto statistics = Query({"stat"}, kLinkStatisticsSql);
  return statistics && !statistics->empty();
}

std::string DatabaseReader::error() const {
  if (!connection_) return open_error_;
  return is_askable_ ? KAVODBErrorGet(connection_.get()) : "it has a text where a number belongs";
}

bool DatabaseReader::Run(const char* sql) {
  return KAVODBExecute(connection_.get(), sql, nullptr) != -1;
}

std::optional<std::vector<DatabaseReader::Row>> DatabaseReader::Rows(const Columns& columns,
                                                                     const Text& sql) {
  KAVODB_RESULT* handle = nullptr;
  is_askable_ = sql != nullptr;
  if (!sql || KAVODBExecute(connection_.get(), sql.get(), &handle) == -1) return std::nullopt;
  const std::unique_ptr<KAVODB_RESULT, Free> result(handle);
  std::vector<Row> rows;
  for (KAVODB_ROW row = nullptr; KAVODBFetchRow(result.get(), &row) != -1;) {
    Row& values = rows.emplace_back();
    for (const char* column : columns) {
      const char* value = KAVODBFetchField(result.get(), row, column);
      values.push_back(value != nullptr ? std::optional<std::string>(value) : std::nullopt);
    }
  }
  return rows;
}

Failure Unreadable(const DatabaseReader& database) {
  return {ExitStatus::kDatabase, "the database cannot be read: " + database.error()};
}

Failure WithoutTables(const Library& tree) {
  return {ExitStatus::kDatabase,
          "the database " + tree.database() +
              ": its tables are missing or not readable; see lumivault doctor --shared"};
}
