#include "platform/database.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/error.h"
#include "core/one_line.h"
#include "db/engine.h"
#include "db/failed_creations.h"
#include "db/postgres.h"
#include "db/session.h"
#include "db/sqlite.h"

struct tag_KAVODB_CONNECTION {
  std::unique_ptr<DatabaseEngine> engine;
  std::string error;
  int affected = 0;
};

struct tag_KAVODB_RESULT {
  ResultSet set;
};

namespace {

// Short enough for a std::string to hold without memory of its own, of which there is none then.
constexpr std::string_view kOutOfMemory = "Out of memory.";
constexpr const char* kNoDatabase = "No database is named.";

std::unique_ptr<DatabaseEngine> OpenEngine(const char* user, const char* password, const char* database,
                                           Session& session) {
  if (std::unique_ptr<DatabaseEngine> lent = session.HandOut(user, database)) return lent;
  if (user != nullptr) return PostgresConnection::Open(user, password, database, session.connect_error());
  const SqliteFile kind = CreationFailed(database) ? SqliteFile::kMustExist : SqliteFile::kMayBeMade;
  return SqliteConnection::Open(database, kind, session.connect_error());
}

int Fail(KAVODB_CONNECTION& connection, std::string_view reason) {
  connection.error = reason;
  return -1;
}

int Run(KAVODB_CONNECTION& connection, const char* sql, Window window, KAVODB_RESULT** result) {
  if (sql == nullptr) return Fail(connection, "The statement is null.");
  auto rows = std::make_unique<KAVODB_RESULT>();
  if (!connection.engine->Execute(sql, window, rows->set, connection.error)) {
    MakeOneLine(connection.error);
    return -1;
  }
  connection.affected = rows->set.affected();
  if (result != nullptr) *result = rows.release();
  return 0;
}

int RunGuarded(KAVODB_CONNECTION* connection, const char* sql, Window window, KAVODB_RESULT** result) {
  if (connection == nullptr) return -1;
  const auto done = WithoutExceptions<std::optional<int>>(
      std::nullopt, [&] { return Run(*connection, sql, window, result); });
  return done ? *done : Fail(*connection, kOutOfMemory);
}

// OPEN is given the session, whose error it writes when it opens nothing.
template <typename OpenFunction>
KAVODB_CONNECTION* Connect(const char* database, OpenFunction&& open) {
  Session& session = Session::OfThread();
  session.connect_error().clear();
  if (database == nullptr || *database == '\0') {
    session.connect_error() = kNoDatabase;
    return nullptr;
  }
  return WithoutExceptions<KAVODB_CONNECTION*>(nullptr, [&]() -> KAVODB_CONNECTION* {
    auto connection = std::make_unique<KAVODB_CONNECTION>();
    connection->engine = open(session);
    MakeOneLine(session.connect_error());
    return connection->engine != nullptr ? connection.release() : nullptr;
  });
}

}  // namespace

KAVODB_CONNECTION* KAVODBConnect(const char* /*host*/, const char* user, const char* password,
                                 const char* database) {
  return Connect(database, [&](Session& session) { return OpenEngine(user, password, database, session); });
}

KAVODB_CONNECTION* KAVODBConnectReadOnly(const char* database) {
  return Connect(database, [&](Session& session) {
    return SqliteConnection::Open(database, SqliteFile::kReadOnly, session.connect_error());
  });
}

const char* KAVODBConnectErrorGet() {
  return Session::OfThread().connect_error().c_str();
}

void KAVODBClose(KAVODB_CONNECTION* connection) {
  const std::unique_ptr<KAVODB_CONNECTION> closed(connection);
}

int KAVODBExecute(KAVODB_CONNECTION* connection, const char* sql, KAVODB_RESULT** result) {
  return RunGuarded(connection, sql, Window{}, result);
}

int KAVODBSelectLimit(KAVODB_CONNECTION* connection, const char* sql, int limit, int offset,
                      KAVODB_RESULT** result) {
  return RunGuarded(connection, sql, Window{limit, offset}, result);
}

int KAVODBNumRows(KAVODB_RESULT* result) {
  return result != nullptr ? static_cast<int>(result->set.rows()) : 0;
}

int KAVODBFetchRow(KAVODB_RESULT* result, KAVODB_ROW* row) {
  if (result == nullptr || row == nullptr) return -1;
  const ResultSet::Row next = result->set.NextRow();
  if (next == nullptr) return -1;
  *row = const_cast<const char**>(next);
  return 0;
}

const char* KAVODBFetchField(KAVODB_RESULT* result, KAVODB_ROW row, const char* column) {
  if (result == nullptr || row == nullptr || column == nullptr) return nullptr;
  return result->set.Value(static_cast<ResultSet::Row>(row), column);
}

int KAVODBAffectedRows(KAVODB_CONNECTION* connection, KAVODB_RESULT* result) {
  if (result != nullptr) return result->set.affected();
  return connection != nullptr ? connection->affected : 0;
}

void KAVODBFreeResult(KAVODB_RESULT* result) {
  const std::unique_ptr<KAVODB_RESULT> freed(result);
}

const char* KAVODBErrorGet(KAVODB_CONNECTION* connection) {
  return connection != nullptr ? connection->error.c_str() : "No connection.";
}

int KAVODBDatabaseTypeGet(KAVODB_CONNECTION* connection) {
  return connection != nullptr ? connection->engine->type() : -1;
}
