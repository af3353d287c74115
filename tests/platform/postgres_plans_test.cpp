// The plans of the shared database, filled: none of them reads a whole table, but those that ask for it.
#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <memory>
#include <regex>
#include <set>
#include <string>

#include "photo_database/removal_sql.h"
#include "platform/planned_statements.h"
#include "support/schemas.h"

namespace {

// Tables that grow with the library. Labels and settings are few, and read whole for less than by an index.
const std::set<std::string> kGrowing{"photo_image",        "video",
                                     "video_desc",         "video_comment",
                                     "video_convert",      "photo_image_label",
                                     "photo_video_label",  "photo_share",
                                     "photo_access_right", "photo_upload_right",
                                     "photo_manage_right", "photo_manage_right_for_zor_account"};

// Files "1/1" and on in albums of a hundred; the first album is "1", and no other name begins with that.
constexpr const char* kFill = R"(
CREATE FUNCTION album(i INTEGER) RETURNS TEXT LANGUAGE sql IMMUTABLE
  AS $$ SELECT CASE WHEN i < 100 THEN '1' ELSE 'a' || i / 100 END $$;
INSERT INTO photo_share (shareid, sharename, ref_shareid)
  SELECT 2 + i, album(i * 100), 1 FROM generate_series(0, 4999) i;
INSERT INTO photo_image (path, name, shareid) SELECT album(i) || '/' || i, i, 2 + i / 100 FROM generate_series(1, 20000) i;
INSERT INTO video (path, shareid) SELECT album(i) || '/' || i, 2 + i / 100 FROM generate_series(1, 20000) i;
INSERT INTO video_desc (path, title) SELECT path, path FROM video;
INSERT INTO video_comment (path, comment) SELECT path, path FROM video;
INSERT INTO video_convert (video_path, convert_file_path) SELECT path, path || '.mp4' FROM video;
INSERT INTO photo_label (category, name) SELECT i % 3, i FROM generate_series(1, 200) i;
INSERT INTO photo_image_label (image_id, label_id, info) SELECT id, 1 + (id * k) % 200, k FROM photo_image, generate_series(1, 2) k;
INSERT INTO photo_video_label (video_path, label_id) SELECT path, 1 + id % 200 FROM video;
INSERT INTO photo_access_right SELECT i, 1 + i % 5000, '' FROM generate_series(1, 20000) i;
INSERT INTO photo_upload_right SELECT * FROM photo_access_right;
INSERT INTO photo_manage_right SELECT * FROM photo_access_right;
INSERT INTO photo_manage_right_for_zor_account SELECT * FROM photo_access_right;
)";

class PostgresPlans : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!PostgresAnswers()) return;
    connection_.reset(PQconnectdb("user=postgres dbname=photo"));
    PQsetNoticeProcessor(
        connection_.get(), [](void*, const char*) {}, nullptr);
    Run("DROP SCHEMA public CASCADE; CREATE SCHEMA public;");
    Run(SchemaScript("photo.sql"));
    Run(kFill);
    Run("VACUUM ANALYZE");
  }
  static void TearDownTestSuite() {
    if (connection_) Run("DROP FUNCTION album");
    connection_.reset();
  }
  void SetUp() override {
    if (!connection_) GTEST_SKIP() << "no PostgreSQL server with a database \"photo\"";
  }

  static std::string Run(const std::string& sql) {
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection_.get(), sql.c_str()),
                                                               PQclear);
    EXPECT_LT(PQresultStatus(result.get()), PGRES_BAD_RESPONSE)
        << sql.substr(0, 300) << ": " << PQerrorMessage(connection_.get());
    std::string text;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
      text.append(PQgetvalue(result.get(), row, 0)).append("\n");
    }
    return text;
  }

  // The tables that PLAN reads whole.
  static std::set<std::string> Walked(const std::string& plan) {
    std::set<std::string> tables;
    const std::regex walk(R"(Seq Scan on (\w+))");
    for (std::sregex_iterator found(plan.begin(), plan.end(), walk), end; found != end; ++found) {
      if (kGrowing.contains((*found)[1])) tables.insert((*found)[1]);
    }
    return tables;
  }

  static inline std::unique_ptr<PGconn, decltype(&PQfinish)> connection_{nullptr, PQfinish};
};

TEST_F(PostgresPlans, NoneReadsAWholeTable) {
  for (const auto& statements : {PluginStatements(), ServiceStatements()}) {
    for (const PlannedStatement& statement : statements) {
      if (!statement.IsFor(Engine::kPostgres)) continue;
      if (statement.reach == Reach::kTable || statement.reach == Reach::kAll) continue;
      for (const std::string& sql : Filled(statement.text, Engine::kPostgres)) {
        const std::string plan = Run("EXPLAIN " + sql);
        EXPECT_EQ(Walked(plan), std::set<std::string>()) << statement.name << ": " << sql << "\n" << plan;
      }
    }
  }
}

// The links are read in their index alone, once for each of the two tables.
TEST_F(PostgresPlans, UnusedLabelsAreFoundInTheIndexesOfTheLinks) {
  const std::string plan = Run("EXPLAIN " + Filled(kDeleteUnusedLabels, Engine::kPostgres).front());
  EXPECT_NE(plan.find("Index Only Scan using photo_image_label_label_id"), std::string::npos) << plan;
  EXPECT_NE(plan.find("Index Only Scan using photo_video_label_label_id"), std::string::npos) << plan;
}

}  // namespace
