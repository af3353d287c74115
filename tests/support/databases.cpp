#include "support/databases.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <optional>

#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_util/photo_dir.h"
#include "support/schemas.h"

namespace {

constexpr const char* kUser = "alice";

struct SqliteClose {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct PostgresClose {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct PostgresClear {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Sqlite = std::unique_ptr<sqlite3, SqliteClose>;
using Postgres = std::unique_ptr<PGconn, PostgresClose>;
using PostgresResult = std::unique_ptr<PGresult, PostgresClear>;

std::vector<Row> QuerySqlite(const std::string& file, const std::string& sql) {
  sqlite3* raw = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
  const Sqlite database(raw);
  sqlite3_busy_timeout(raw, 10'000);
  std::vector<Row> rows;
  char* error = nullptr;
  const auto keep = [](void* out, int columns, char** values, char** names) {
    Row row;
    for (int i = 0; i < columns; ++i) row[names[i]] = values[i] != nullptr ? values[i] : "NULL";
    static_cast<std::vector<Row>*>(out)->push_back(std::move(row));
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(raw, ("PRAGMA foreign_keys = ON; " + sql).c_str(), keep, &rows, &error), SQLITE_OK)
      << sql << ": " << (error != nullptr ? error : "");
  sqlite3_free(error);
  return rows;
}

Postgres ConnectPostgres() {
  Postgres connection(PQconnectdb("user=postgres dbname=photo connect_timeout=60"));
  PQsetNoticeProcessor(
      connection.get(), [](void*, const char*) {}, nullptr);
  return connection;
}

std::vector<Row> QueryPostgres(const std::string& sql) {
  const Postgres connection = ConnectPostgres();
  const PostgresResult result(PQexec(connection.get(), sql.c_str()));
  const auto status = PQresultStatus(result.get());
  EXPECT_TRUE(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_EMPTY_QUERY)
      << sql << ": " << PQerrorMessage(connection.get());
  std::vector<Row> rows;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    Row values;
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      values[PQfname(result.get(), column)] =
          PQgetisnull(result.get(), row, column) ? "NULL" : PQgetvalue(result.get(), row, column);
    }
    rows.push_back(std::move(values));
  }
  return rows;
}

// A database with the current schema and nothing in it but the root album.
void EmptyPostgres() {
  static bool schema_applied = false;
  if (!schema_applied) {
    QueryPostgres("DROP SCHEMA public CASCADE; CREATE SCHEMA public;");
    QueryPostgres(SchemaScript("photo.sql"));
    schema_applied = true;
    return;
  }
  QueryPostgres(
      "TRUNCATE photo_image, video, video_desc, video_comment, video_convert, photo_share, "
      "photo_access_right, "
      "photo_access_right_for_zor_account, photo_upload_right, photo_upload_right_for_zor_account, "
      "photo_manage_right, photo_manage_right_for_zor_account, photo_config, photo_label, photo_image_label, "
      "photo_video_label RESTART IDENTITY; "
      "INSERT INTO photo_share (shareid, sharename, public, comment, ref_shareid) VALUES (1, '/', 't', 'f', "
      "1);");
}

}  // namespace

std::string EngineName(const testing::TestParamInfo<Engine>& info) {
  return info.param == Engine::kSqlite ? "Sqlite" : "Postgres";
}

void LibraryTest::SetUp() {
  if (!personal() && !PostgresAnswers()) {
    GTEST_SKIP() << "no PostgreSQL server: PGHOST is not set or the database \"photo\" does not answer";
  }
  ResetPhotoDirForTest();
  if (personal()) {
    tree_.AddUser(kUser);
  } else {
    EmptyPostgres();
  }
  // The context of the request, and the personal database with it.
  ASSERT_EQ(HGAStatusCheck(photos().c_str()), 0);
  ASSERT_EQ(HGAStatusIsHGARequest(), personal() ? 1 : 0);
  SyslogCapture::Clear();
}

void LibraryTest::TearDown() {
  PhotoDBConnClose();
  ResetPhotoDirForTest();
}

std::filesystem::path LibraryTest::photos() const {
  return personal() ? tree_.personal(kUser) : tree_.shared();
}

std::string LibraryTest::Key(const std::string& relative) const {
  return personal() ? relative : Path(relative);
}

void LibraryTest::Run(const std::string& sql) {
  Query(sql);
}

std::vector<Row> LibraryTest::Query(const std::string& sql) {
  return personal() ? QuerySqlite((photos() / ".KAVOHGADB").string(), sql) : QueryPostgres(sql);
}

std::string LibraryTest::Value(const std::string& sql) {
  // The first column in the order of the query is wanted, so the statement should have one.
  const auto rows = Query(sql);
  return rows.empty() || rows.front().empty() ? "" : rows.front().begin()->second;
}
