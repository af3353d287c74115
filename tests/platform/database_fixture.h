#ifndef TESTS_PLATFORM_DATABASE_FIXTURE_H_
#define TESTS_PLATFORM_DATABASE_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/database.h"
#include "support/schemas.h"
#include "support/temp_dir.h"

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using HeapText = std::unique_ptr<char, FreeText>;

struct CloseConnection {
  void operator()(KAVODB_CONNECTION* connection) const { KAVODBClose(connection); }
};
using Connection = std::unique_ptr<KAVODB_CONNECTION, CloseConnection>;

struct FreeResult {
  void operator()(KAVODB_RESULT* result) const { KAVODBFreeResult(result); }
};
using Result = std::unique_ptr<KAVODB_RESULT, FreeResult>;

// The filled template; fails the test and gives "" when there is none.
template <typename... Values>
std::string Fill(int type, const char* sql_template, Values... values) {
  const HeapText text(KAVODBEscapeStringEX3(type, sql_template, values...));
  EXPECT_NE(text, nullptr) << sql_template;
  return text != nullptr ? text.get() : "";
}

inline Connection OpenSqlite(const std::string& file) {
  return Connection(KAVODBConnect(nullptr, nullptr, nullptr, file.c_str()));
}
inline Connection OpenPostgres() {
  return Connection(KAVODBConnect(nullptr, "postgres", nullptr, "photo"));
}

// Sends SQL; a failure fails the test. The result of the last statement.
inline Result Send(const Connection& connection, const std::string& sql) {
  KAVODB_RESULT* result = nullptr;
  EXPECT_NE(KAVODBExecute(connection.get(), sql.c_str(), &result), -1)
      << sql << ": " << KAVODBErrorGet(connection.get());
  return Result(result);
}

// Column NAME of all rows; SQL NULL reads as nothing.
inline std::vector<std::optional<std::string>> Column(const Result& result, const char* name) {
  std::vector<std::optional<std::string>> values;
  KAVODB_ROW row = nullptr;
  while (KAVODBFetchRow(result.get(), &row) == 0) {
    const char* value = KAVODBFetchField(result.get(), row, name);
    values.push_back(value != nullptr ? std::optional<std::string>(value) : std::nullopt);
  }
  return values;
}

// The column "v" of the first row.
inline std::string Value(const Connection& connection, const std::string& sql) {
  const auto values = Column(Send(connection, sql), "v");
  return values.empty() || !values.front() ? "(none)" : *values.front();
}

// An empty database on either engine. On PostgreSQL the test lives in a schema of its own in the database
// "photo".
class DatabaseTest : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (!sqlite() && !PostgresAnswers()) GTEST_SKIP() << "no PostgreSQL server answers";
    if (!sqlite())
      Send(OpenPostgres(), "DROP SCHEMA IF EXISTS platform_test CASCADE; CREATE SCHEMA platform_test");
    connection_ = Open();
    ASSERT_NE(connection_, nullptr);
  }
  void TearDown() override {
    if (!sqlite() && connection_ != nullptr) Send(connection_, "DROP SCHEMA IF EXISTS platform_test CASCADE");
  }

  [[nodiscard]] bool sqlite() const { return GetParam() == KAVODB_TYPE_SQLITE; }
  [[nodiscard]] const Connection& db() const { return connection_; }
  [[nodiscard]] std::string file() const { return dir_ / "photo.db"; }
  // Another connection to the same database.
  [[nodiscard]] Connection Open() const {
    Connection connection = sqlite() ? OpenSqlite(file()) : OpenPostgres();
    Send(connection, sqlite() ? "PRAGMA synchronous=OFF" : "SET search_path = platform_test");
    return connection;
  }
  // "PRAGMA case_sensitive_like=true; " where LIKE needs it to mind letter case.
  [[nodiscard]] std::string LikePrefix() const { return sqlite() ? "PRAGMA case_sensitive_like=true; " : ""; }

 private:
  TempDir dir_;
  Connection connection_;
};

inline auto BothTypes() {
  return testing::Values(KAVODB_TYPE_SQLITE, KAVODB_TYPE_POSTGRES);
}
inline std::string TypeName(const testing::TestParamInfo<int>& info) {
  return info.param == KAVODB_TYPE_SQLITE ? "Sqlite" : "Postgres";
}

#endif  // TESTS_PLATFORM_DATABASE_FIXTURE_H_
