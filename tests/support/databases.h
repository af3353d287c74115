#ifndef TESTS_SUPPORT_DATABASES_H_
#define TESTS_SUPPORT_DATABASES_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/appliance_tree.h"
#include "support/syslog_capture.h"

// The engine a test runs on: a personal folder with its SQLite file, or the shared tree with PostgreSQL.
enum class Engine { kSqlite, kPostgres };

// "Sqlite" or "Postgres", as the suffix of the test's name; the test programs are filtered by it.
std::string EngineName(const testing::TestParamInfo<Engine>& info);

using Row = std::map<std::string, std::string>;  // SQL NULL reads as "NULL"

// A photo library on a real engine, empty but for the root album. On PostgreSQL the database "photo" of the
// server that PGHOST names is emptied first; without a server the test says SKIPPED.
//
//   class SaveTest : public LibraryTest {};
//   TEST_P(SaveTest, ...) { ... }
//   INSTANTIATE_TEST_SUITE_P(Engines, SaveTest, BothEngines(), EngineName);
class LibraryTest : public testing::TestWithParam<Engine> {
 protected:
  explicit LibraryTest(ApplianceTree::Place place = ApplianceTree::Place::kTemporary) : tree_(place) {}
  void SetUp() override;
  void TearDown() override;

  ApplianceTree& tree() { return tree_; }
  // The photo root of the engine: the personal folder of "alice", or the shared photo folder.
  std::filesystem::path photos() const;
  // The absolute path of a file or folder below the photo root; of the root itself for "".
  std::string Path(const std::string& relative) const {
    return relative.empty() ? photos().string() : (photos() / relative).string();
  }
  // Its key in the database.
  std::string Key(const std::string& relative) const;
  bool personal() const { return GetParam() == Engine::kSqlite; }

  // Statements of the test's own, on a connection of its own; a failure fails the test.
  void Run(const std::string& sql);
  std::vector<Row> Query(const std::string& sql);
  // The only column of the first row, "" when there is no row.
  std::string Value(const std::string& sql);

 private:
  ApplianceTree tree_;
};

inline auto BothEngines() {
  return testing::Values(Engine::kSqlite, Engine::kPostgres);
}

#endif  // TESTS_SUPPORT_DATABASES_H_
