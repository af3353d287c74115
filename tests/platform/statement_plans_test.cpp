// No statement walks a whole table, but those that ask for it: they are named with the reason. Every
// statement text has its place; one that is added fails this test until it has one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "changes/catalogue_sql.h"
#include "photo_database/removal_sql.h"
#include "platform/planned_statements.h"
#include "support/schemas.h"
#include "support/temp_dir.h"

namespace {

using testing::HasSubstr;
using testing::Not;

std::set<std::string> NamesInHeaders(const char* folder) {
  std::set<std::string> names;
  const std::regex definition(R"(inline constexpr (?:const )?char\*? (k\w+))");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.path().filename().string().ends_with("_sql.h")) continue;
    const std::string text = ReadFile(entry.path());
    for (std::sregex_iterator found(text.begin(), text.end(), definition), end; found != end; ++found) {
      names.insert((*found)[1]);
    }
  }
  return names;
}

TEST(Statements, EachHasItsPlace) {
  std::set<std::string> placed = UnplannedTexts();
  for (const auto& statements : {PluginStatements(), ServiceStatements(), CatalogueStatements()}) {
    for (const PlannedStatement& statement : statements) placed.insert(statement.name);
  }
  std::set<std::string> there = NamesInHeaders(LUMIVAULT_PLUGIN_STATEMENTS);
  there.merge(NamesInHeaders(LUMIVAULT_SERVICE_STATEMENTS));
  EXPECT_EQ(there, placed);
}

class SqliteDatabase {
 public:
  explicit SqliteDatabase(const std::string& schema) {
    EXPECT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
    Run(schema);
    Run("PRAGMA case_sensitive_like=true");
  }
  ~SqliteDatabase() { sqlite3_close(database_); }
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  // The last column of all rows, a line each.
  std::string Run(const std::string& sql) {
    std::string text;
    char* error = nullptr;
    const auto keep = [](void* out, int columns, char** values, char**) {
      const char* value = values[columns - 1];
      static_cast<std::string*>(out)->append(value != nullptr ? value : "").append("\n");
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), keep, &text, &error), SQLITE_OK) << sql << ": " << error;
    sqlite3_free(error);
    return text;
  }
  // The look-ups that SQL is made of. Their order tells nothing where each finds one row.
  std::multiset<std::string> LookUps(const std::string& sql) {
    std::istringstream plan(Run("EXPLAIN QUERY PLAN " + sql));
    std::multiset<std::string> look_ups;
    for (std::string line; std::getline(plan, line);) look_ups.insert(line);
    return look_ups;
  }
  // What SQL costs in steps of the engine.
  int Steps(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
    const int steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
    sqlite3_finalize(statement);
    return steps;
  }

  void ExpectPlans(const std::vector<PlannedStatement>& statements) {
    for (const PlannedStatement& statement : statements) {
      if (!statement.IsFor(Engine::kSqlite) || statement.reach == Reach::kAll) continue;
      bool walks = false;
      for (const std::string& sql : Filled(statement.text, Engine::kSqlite)) {
        walks = ExpectPlan(statement, sql) || walks;
      }
      EXPECT_EQ(walks, statement.reach == Reach::kTable) << statement.name << ": " << statement.reason;
    }
  }

 private:
  // True when it walks a table.
  bool ExpectPlan(const PlannedStatement& statement, const std::string& sql) {
    const std::string plan = Run("EXPLAIN QUERY PLAN " + sql);
    const std::string context = statement.name + ": " + sql + "\n" + plan;
    if (statement.reach == Reach::kRange) {
      EXPECT_THAT(plan, Not(HasSubstr("TEMP B-TREE"))) << context;
      return false;
    }
    return plan.find("SCAN") != std::string::npos;
  }

  sqlite3* database_ = nullptr;
};

std::string Rows(const std::string& insert, int count) {
  return "WITH n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) + ") " +
         insert + ";";
}

constexpr const char* kNoStatistics = "DELETE FROM sqlite_stat1; ANALYZE sqlite_schema";

TEST(SqlitePlans, OfTheSchemasStatistics) {
  SqliteDatabase database(SchemaScript("pphoto.sql"));
  database.ExpectPlans(PluginStatements());
  database.ExpectPlans(ServiceStatements());
}

TEST(SqlitePlans, OfADatabaseWithoutStatistics) {
  SqliteDatabase database(SchemaScript("pphoto.sql") + kNoStatistics);
  database.ExpectPlans(PluginStatements());
  database.ExpectPlans(ServiceStatements());
}

TEST(SqlitePlans, OfTheCatalogue) {
  SqliteDatabase(kMakeCatalogue).ExpectPlans(CatalogueStatements());
}

// The statistics help one statement and send no other another way.
TEST(SqlitePlans, AreThoseWithoutStatistics) {
  SqliteDatabase with(SchemaScript("pphoto.sql"));
  SqliteDatabase without(SchemaScript("pphoto.sql") + kNoStatistics);
  for (const auto& statements : {PluginStatements(), ServiceStatements()}) {
    for (const PlannedStatement& statement : statements) {
      if (!statement.IsFor(Engine::kSqlite)) continue;
      for (const std::string& sql : Filled(statement.text, Engine::kSqlite)) {
        EXPECT_EQ(with.LookUps(sql), without.LookUps(sql)) << sql;
      }
    }
  }
}

// The plan only says that an index is walked, and not that it is walked from label to label.
TEST(SqlitePlans, UnusedLabelsCostNothingForEachLink) {
  constexpr int kLinks = 10'000;
  SqliteDatabase database(SchemaScript("pphoto.sql"));
  database.Run("INSERT INTO photo_image (id, path) VALUES (1, 'a.jpg')");
  database.Run(Rows("INSERT INTO photo_label (id, category, name) SELECT i, 2, i FROM n", 5));
  database.Run(
      Rows("INSERT INTO photo_image_label (image_id, label_id, info) SELECT 1, 1 + i % 2, i FROM n", kLinks));
  database.Run(
      Rows("INSERT INTO photo_video_label (video_path, label_id) SELECT 'a.mp4', 3 + i % 2 FROM n", kLinks));
  EXPECT_LT(database.Steps(kDeleteUnusedLabels), kLinks / 10);
  EXPECT_EQ(database.Run("SELECT id FROM photo_label"), "1\n2\n3\n4\n");
}

}  // namespace
