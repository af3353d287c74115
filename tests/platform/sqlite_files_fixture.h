#ifndef TESTS_PLATFORM_SQLITE_FILES_FIXTURE_H_
#define TESTS_PLATFORM_SQLITE_FILES_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "platform/database_fixture.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

// A database with one table in a folder of its own, and room for other files beside the folder.
class SqliteFilesTest : public testing::Test {
 protected:
  SqliteFilesTest() { fs::create_directory(folder()); }
  void SetUp() override {
    Send(OpenSqlite(file()), "PRAGMA journal_mode=WAL; CREATE TABLE t (v text); INSERT INTO t VALUES ('v')");
  }

  fs::path folder() const { return dir_.path() / "photos"; }
  std::string file() const { return folder() / "photo.db"; }
  fs::path Beside(const std::string& name) const { return dir_.path() / name; }
  std::string ErrorOf(const std::string& sql) const { return ErrorOf(OpenSqlite(file()), sql); }
  static std::string ErrorOf(const Connection& connection, const std::string& sql) {
    if (connection == nullptr) return KAVODBConnectErrorGet();
    return KAVODBExecute(connection.get(), sql.c_str(), nullptr) == -1 ? KAVODBErrorGet(connection.get())
                                                                       : "(none)";
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }

 private:
  TempDir dir_;
};

#endif  // TESTS_PLATFORM_SQLITE_FILES_FIXTURE_H_
