// What a connection to an SQLite file opens while somebody exchanges what stands beside it.
#include <fcntl.h>
#include <stdio.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "db/sqlite_files.h"
#include "platform/sqlite_files_fixture.h"
#include "support/open_watch.h"

namespace {

// Exchanges NAME for OTHER and back, as fast as it goes.
class Exchange {
 public:
  Exchange(const fs::path& name, const fs::path& other)
      : thread_([this, name, other] {
          while (!done_) {
            if (renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0) ++made_;
          }
        }) {}
  ~Exchange() { End(); }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // How many there were.
  int End() {
    done_ = true;
    if (thread_.joinable()) thread_.join();
    return made_;
  }

 private:
  std::atomic<bool> done_{false};
  std::atomic<int> made_{0};
  std::thread thread_;
};

class SqliteRaceTest : public SqliteFilesTest, public testing::WithParamInterface<const char*> {
 protected:
  static constexpr int kFewestExchanges = 100;

  fs::path victim() const { return Beside("victim"); }
  // What SQLite would take for the file that it stands for: it is that of another database, with its work
  // under way.
  void MakeVictim() const {
    const std::string other = Beside("other.db");
    const bool journaled = GetParam() == std::string("-journal");
    const Connection db = OpenSqlite(other);
    Send(db, std::string("PRAGMA journal_mode = ") + (journaled ? "PERSIST" : "WAL") +
                 "; PRAGMA cache_size = 1; CREATE TABLE t (v text); INSERT INTO t VALUES ('foreign'); BEGIN; "
                 "INSERT INTO t VALUES (hex(zeroblob(50000)))");
    fs::copy_file(other + GetParam(), victim());
    ASSERT_GT(fs::file_size(victim()), 0U);
  }

  fs::path trap() const { return folder() / "trap"; }
  // Writes again and again while what stands under the database's name with the suffix is exchanged for the
  // trap, which SET makes; it goes when it is taken for a side file that nobody needs any more.
  void WriteMeanwhile(const std::function<void()>& set) const {
    const fs::path name = file() + GetParam();
    int written = 0;
    int exchanged = 0;
    for (int round = 0; round < kMostRounds && (round < kRounds || exchanged < kFewestExchanges); ++round) {
      if (!fs::exists(name) && !fs::is_symlink(name)) std::ofstream(name).close();
      if (!fs::exists(trap()) && !fs::is_symlink(trap())) set();
      Exchange exchange(name, trap());
      for (int i = 0; i < kTries; ++i) {
        const Connection db = OpenSqlite(file());
        if (db != nullptr && KAVODBExecute(db.get(), "INSERT INTO t VALUES ('w')", nullptr) != -1) ++written;
      }
      exchanged += exchange.End();
    }
    EXPECT_GE(exchanged, kFewestExchanges) << "else nothing was tried";
    EXPECT_GT(written, 0) << "nor where everything was refused";
  }

 private:
  static constexpr int kTries = 20;
  static constexpr int kRounds = 5;
  static constexpr int kMostRounds = 100;
};

TEST_P(SqliteRaceTest, WhatAHardLinkLeadsToIsNotWritten) {
  MakeVictim();
  const std::string before = ReadFile(victim());
  WriteMeanwhile([&] { fs::create_hard_link(victim(), trap()); });
  EXPECT_TRUE(ReadFile(victim()) == before);
}

TEST_P(SqliteRaceTest, WhatALinkLeadsToIsNotOpened) {
  MakeVictim();
  const std::string before = ReadFile(victim());
  const OpenWatch watch(victim());
  WriteMeanwhile([&] { fs::create_symlink(victim(), trap()); });
  EXPECT_FALSE(watch.WasOpened());
  EXPECT_TRUE(ReadFile(victim()) == before);
}

TEST_P(SqliteRaceTest, WhatALinkLeadsToIsNotMade) {
  WriteMeanwhile([&] { fs::create_symlink(victim(), trap()); });
  EXPECT_FALSE(fs::exists(victim()));
}

std::string SuffixName(const testing::TestParamInfo<const char*>& info) {
  const std::string suffix = info.param;
  return suffix.empty() ? "Database" : suffix.substr(1);
}
INSTANTIATE_TEST_SUITE_P(Names, SqliteRaceTest, testing::Values("", "-journal", "-wal", "-shm"), SuffixName);

}  // namespace
