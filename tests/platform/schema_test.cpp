// The two schema scripts on their engines: the same tables and columns, safe to run again, and every key
// found by an index.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <sqlite3.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>

#include "support/schemas.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using Columns = std::map<std::string, std::set<std::string>>;  // table -> columns

class SqliteSchema : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
    Run(SchemaScript("pphoto.sql"));
  }
  void TearDown() override { sqlite3_close(database_); }

  // The values of all rows, '|' between columns and a newline behind each row.
  std::string Run(const std::string& sql) {
    std::string text;
    char* error = nullptr;
    const auto keep = [](void* out, int columns, char** values, char**) {
      for (int i = 0; i < columns; ++i) {
        static_cast<std::string*>(out)->append(values[i] != nullptr ? values[i] : "").append("|");
      }
      static_cast<std::string*>(out)->append("\n");
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), keep, &text, &error), SQLITE_OK) << sql << ": " << error;
    sqlite3_free(error);
    return text;
  }

  bool Fails(const std::string& sql) {
    return sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK;
  }

  sqlite3* database_ = nullptr;
};

class PostgresSchema : public testing::Test {
 protected:
  void SetUp() override {
    if (!PostgresAnswers()) GTEST_SKIP() << "no PostgreSQL server with a database \"photo\"";
    connection_.reset(PQconnectdb("user=postgres dbname=photo"));
    PQsetNoticeProcessor(
        connection_.get(), [](void*, const char*) {}, nullptr);
    Run("DROP SCHEMA public CASCADE; CREATE SCHEMA public;");
    Run(SchemaScript("photo.sql"));
  }

  std::string Run(const std::string& sql) {
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection_.get(), sql.c_str()),
                                                               PQclear);
    EXPECT_LT(PQresultStatus(result.get()), PGRES_BAD_RESPONSE)
        << sql.substr(0, 200) << ": " << PQerrorMessage(connection_.get());
    std::string text;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
      for (int column = 0; column < PQnfields(result.get()); ++column) {
        text.append(PQgetvalue(result.get(), row, column)).append("|");
      }
      text.append("\n");
    }
    return text;
  }
  bool Fails(const std::string& sql) {
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection_.get(), sql.c_str()),
                                                               PQclear);
    return PQresultStatus(result.get()) == PGRES_FATAL_ERROR;
  }

  std::unique_ptr<PGconn, decltype(&PQfinish)> connection_{nullptr, PQfinish};
};

constexpr const char* kRightTables[] = {"photo_access_right", "photo_access_right_for_zor_account",
                                        "photo_upload_right", "photo_upload_right_for_zor_account",
                                        "photo_manage_right", "photo_manage_right_for_zor_account"};

// A right table as it was made in the first days, with the rights that two programs gave at the same moment.
std::string DoubledRights(const std::string& table) {
  return "DROP INDEX " + table + "_key; CREATE INDEX " + table + "_shareid ON " + table +
         " (shareid); INSERT INTO " + table +
         " VALUES (7, 2, 'first'), (8, 2, 'other'), (7, 2, 'second'), (7, 3, 'album'), (7, 2, 'third'), "
         "(NULL, 2, 'nobody'), (NULL, 2, 'nobody');";
}
constexpr const char* kRightsOnce = "7|2|first|\n8|2|other|\n7|3|album|\n|2|nobody|\n|2|nobody|\n";

// The same of links; the ids tell which of them have stayed.
constexpr const char* kDoubledLinks =
    "DROP INDEX photo_image_label_key; INSERT INTO photo_image (id, path) VALUES (1, '/a'); INSERT INTO "
    "photo_label (id, "
    "category, name) VALUES (1, 2, 'x'); INSERT INTO photo_image_label (id, image_id, label_id, info, "
    "info_new, status) VALUES (1, 1, 1, '', '', 't'), (2, 1, 1, 'face', '', 't'), (3, 1, 1, '', '', 't'), "
    "(4, 1, 1, '', 'face', 't'), (5, 1, 1, '', '', 'f'), (6, 1, 1, 'face', '', 't'), (7, 1, 1, NULL, '', "
    "'t'), (8, 1, 1, NULL, '', 't');";
constexpr const char* kLinksOnce = "1|\n2|\n4|\n5|\n7|\n8|\n";

// "table|column|" lines.
Columns ParseColumns(const std::string& text) {
  Columns columns;
  std::size_t at = 0;
  while (at < text.size()) {
    const auto table_end = text.find('|', at);
    const auto column_end = text.find('|', table_end + 1);
    columns[text.substr(at, table_end - at)].insert(text.substr(table_end + 1, column_end - table_end - 1));
    at = text.find('\n', column_end) + 1;
  }
  return columns;
}

constexpr const char* kSqliteColumns =
    "SELECT m.name, c.name FROM sqlite_master m, pragma_table_info(m.name) c WHERE m.type = 'table' AND "
    "m.name NOT LIKE "
    "'sqlite_%'";
constexpr const char* kPostgresColumns =
    "SELECT table_name, column_name FROM information_schema.columns WHERE table_schema = 'public'";

TEST_F(SqliteSchema, CanBeRunAgainAndKeepsRows) {
  Run("INSERT INTO photo_image (path) VALUES ('a.jpg')");
  Run(SchemaScript("pphoto.sql"));
  EXPECT_EQ(Run("SELECT path FROM photo_image"), "a.jpg|\n");
}

TEST_F(SqliteSchema, BeginsWithTheRootAlbum) {
  EXPECT_EQ(Run("SELECT shareid, sharename, public, comment, ref_shareid FROM photo_share"), "1|/|t|f|1|\n");
}

TEST_F(SqliteSchema, KeepsTheFirstOfTheRowsThatAnEarlierOneLetInTwice) {
  for (const std::string table : kRightTables) Run(DoubledRights(table));
  Run(kDoubledLinks);
  Run(SchemaScript("pphoto.sql"));
  for (const std::string table : kRightTables) {
    EXPECT_EQ(Run("SELECT userid, shareid, time FROM " + table + " ORDER BY rowid"), kRightsOnce) << table;
    EXPECT_TRUE(Fails("INSERT INTO " + table + " VALUES (7, 2, 'again')")) << table;
  }
  EXPECT_EQ(Run("SELECT id FROM photo_image_label ORDER BY id"), kLinksOnce);
  EXPECT_TRUE(Fails("INSERT INTO photo_image_label (image_id, label_id) VALUES (1, 1)"));
}

TEST_F(SqliteSchema, FindsKeysAndPrefixesByIndex) {
  const std::string exact =
      Run("PRAGMA case_sensitive_like=true; EXPLAIN QUERY PLAN SELECT * FROM photo_image WHERE path like "
          "'a\\_b.jpg' ESCAPE '\\'");
  EXPECT_THAT(exact, HasSubstr("USING INDEX"));
  const std::string below =
      Run("PRAGMA case_sensitive_like=true; EXPLAIN QUERY PLAN DELETE FROM photo_share WHERE sharename like "
          "'a/%' ESCAPE '\\'");
  EXPECT_THAT(below, Not(HasSubstr("SCAN")));
}

TEST_F(PostgresSchema, HasTheTablesAndColumnsOfThePersonalOne) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &database), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(database, SchemaScript("pphoto.sql").c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  std::string personal;
  const auto keep = [](void* out, int, char** values, char**) {
    static_cast<std::string*>(out)->append(values[0]).append("|").append(values[1]).append("|\n");
    return 0;
  };
  ASSERT_EQ(sqlite3_exec(database, kSqliteColumns, keep, &personal, nullptr), SQLITE_OK);
  sqlite3_close(database);

  const Columns expected = ParseColumns(personal);
  ASSERT_EQ(expected.size(), 17U);
  EXPECT_EQ(ParseColumns(Run(kPostgresColumns)), expected);
}

TEST_F(PostgresSchema, CanBeRunAgainAndKeepsRows) {
  Run("INSERT INTO photo_image (path) VALUES ('/volume1/photo/a.jpg')");
  Run(SchemaScript("photo.sql"));
  EXPECT_EQ(Run("SELECT path FROM photo_image"), "/volume1/photo/a.jpg|\n");
  EXPECT_EQ(Run("SELECT shareid, sharename, public, comment, ref_shareid FROM photo_share"), "1|/|t|f|1|\n");
}

TEST_F(PostgresSchema, KeepsTheFirstOfTheRowsThatAnEarlierOneLetInTwice) {
  for (const std::string table : kRightTables) Run(DoubledRights(table));
  Run(kDoubledLinks);
  Run(SchemaScript("photo.sql"));
  for (const std::string table : kRightTables) {
    EXPECT_EQ(Run("SELECT userid, shareid, time FROM " + table + " ORDER BY ctid"), kRightsOnce) << table;
    EXPECT_TRUE(Fails("INSERT INTO " + table + " VALUES (7, 2, 'again')")) << table;
  }
  EXPECT_EQ(Run("SELECT id FROM photo_image_label ORDER BY id"), kLinksOnce);
  EXPECT_TRUE(Fails("INSERT INTO photo_image_label (id, image_id, label_id) VALUES (9, 1, 1)"));
}

// A face-recognition tool may write what it likes there.
TEST_F(PostgresSchema, KeepsLongTextsOfLinks) {
  Run("INSERT INTO photo_image (path) VALUES ('/a'); INSERT INTO photo_label (category, name) VALUES (0, "
      "'x'); "
      "INSERT INTO photo_image_label (image_id, label_id, info) SELECT 1, 1, string_agg(md5(i::text), '') "
      "FROM "
      "generate_series(1, 500) i");
  EXPECT_EQ(Run("SELECT length(info) FROM photo_image_label"), "16000|\n");
}

TEST_F(PostgresSchema, FindsKeysAndPrefixesByIndex) {
  Run("INSERT INTO photo_image (path) SELECT '/volume1/photo/' || md5(i::text) || '.jpg' FROM "
      "generate_series(1, 5000) i; "
      "ANALYZE photo_image;");
  EXPECT_THAT(Run("EXPLAIN SELECT * FROM photo_image WHERE path = '/volume1/photo/a.jpg'"),
              HasSubstr("photo_image_path_key"));
  EXPECT_THAT(Run("EXPLAIN SELECT * FROM photo_image WHERE path like '/volume1/photo/a\\_b.jpg'"),
              HasSubstr("photo_image_path_key"));
  EXPECT_THAT(Run("EXPLAIN DELETE FROM photo_image WHERE path like '/volume1/photo/a\\_b/%'"),
              HasSubstr("photo_image_path_prefix"));
}

// Incompressible, since a repetitive path would fit into any index and prove nothing.
TEST_F(PostgresSchema, KeepsPathsOfFourThousandBytesUnique) {
  std::mt19937 random(4'000);
  std::string path = "/volume1/photo";
  while (path.size() < 4'000) {
    path += '/';
    for (int i = 0; i < 200; ++i) path += static_cast<char>('!' + random() % 5 * 18 + random() % 14);
  }
  for (char& c : path) c = c == '\'' || c == '\\' || c == '%' || c == '_' ? 'x' : c;
  Run("INSERT INTO photo_image (path) VALUES ('" + path + "')");
  EXPECT_TRUE(Fails("INSERT INTO photo_image (path) VALUES ('" + path + "')"));
  EXPECT_EQ(Run("SELECT length(path) FROM photo_image WHERE path = '" + path + "'"),
            std::to_string(path.size()) + "|\n");
  const std::string folder = path.substr(0, path.rfind('/'));
  EXPECT_EQ(Run("SELECT count(*) FROM photo_image WHERE path like '" + folder + "/%'"), "1|\n");
}

TEST_F(PostgresSchema, RefusesASecondLabelOfTheSameNameAndCategory) {
  Run("INSERT INTO photo_label (category, name) VALUES (2, 'sea'), (0, 'sea')");
  EXPECT_TRUE(Fails("INSERT INTO photo_label (category, name) VALUES (2, 'sea')"));
}

TEST_F(PostgresSchema, RemovesLinksWithTheirPhotoAndLabel) {
  Run("INSERT INTO photo_image (path) VALUES ('/a'), ('/b'); INSERT INTO photo_label (category, name) VALUES "
      "(2, 'x'); "
      "INSERT INTO photo_image_label (image_id, label_id) VALUES (1, 1), (2, 1)");
  Run("DELETE FROM photo_image WHERE path = '/a'");
  EXPECT_EQ(Run("SELECT image_id FROM photo_image_label"), "2|\n");
  Run("DELETE FROM photo_label");
  EXPECT_EQ(Run("SELECT count(*) FROM photo_image_label"), "0|\n");
}

}  // namespace
