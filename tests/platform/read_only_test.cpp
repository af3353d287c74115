// Reading an SQLite file: of one moment, with nothing left behind, and with what a folder allows.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/database_fixture.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;

class ReadOnlyTest : public testing::Test {
 protected:
  ReadOnlyTest() { fs::create_directory(folder()); }
  ~ReadOnlyTest() override { BecomeAbleToWrite(); }
  void SetUp() override {
    Send(OpenSqlite(file()),
         "PRAGMA journal_mode=WAL; CREATE TABLE t (v text); INSERT INTO t VALUES ('before')");
  }

  fs::path folder() const { return dir_.path() / "100% a?b#c"; }
  std::string file() const { return folder() / "photo.db"; }
  Connection OpenForReading() const { return Connection(KAVODBConnectReadOnly(file().c_str())); }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.push_back(entry.path().filename());
    return names;
  }

  // From now on neither the file nor its folder can be written here.
  void GiveUpWriting() {
    chmod(file().c_str(), 0444);
    chmod(folder().c_str(), 0555);
    chmod(dir_.path().c_str(), 0755);
    if (geteuid() == 0) nobody_ = seteuid(kNobody) == 0;
  }
  // Somebody who may do so writes.
  void WriteElsewhere(const std::string& sql) {
    BecomeAbleToWrite();
    Send(OpenSqlite(file()), sql);
    GiveUpWriting();
  }

 private:
  void BecomeAbleToWrite() {
    if (nobody_) {
      EXPECT_EQ(seteuid(0), 0);
    }
    chmod(folder().c_str(), 0755);
    chmod(file().c_str(), 0644);
  }

  TempDir dir_;
  bool nobody_ = false;
};

TEST_F(ReadOnlyTest, ATransactionSeesOneMomentWhateverIsWrittenMeanwhile) {
  const Connection reader = OpenForReading();
  Send(reader, "BEGIN");
  EXPECT_EQ(Value(reader, "SELECT v FROM t"), "before");
  Send(OpenSqlite(file()), "UPDATE t SET v = 'after'");
  EXPECT_EQ(Value(reader, "SELECT v FROM t"), "before");
  Send(reader, "COMMIT");
  EXPECT_EQ(Value(reader, "SELECT v FROM t"), "after");
}

TEST_F(ReadOnlyTest, NothingIsLeftBehind) {
  const fs::file_time_type before = fs::last_write_time(file());
  EXPECT_EQ(Value(OpenForReading(), "SELECT v FROM t"), "before");
  EXPECT_THAT(Names(), testing::ElementsAre("photo.db"));
  EXPECT_EQ(fs::last_write_time(file()), before);
}

TEST_F(ReadOnlyTest, AWriterThatEndsFirstLeavesNothingBehindEither) {
  {
    const Connection reader = OpenForReading();
    Send(reader, "BEGIN");
    EXPECT_EQ(Value(reader, "SELECT v FROM t"), "before");
    Send(OpenSqlite(file()), "UPDATE t SET v = 'after'");
  }
  EXPECT_THAT(Names(), testing::ElementsAre("photo.db"));
  EXPECT_EQ(Value(OpenForReading(), "SELECT v FROM t"), "after");
}

TEST_F(ReadOnlyTest, NothingCanBeWritten) {
  const Connection reader = OpenForReading();
  for (const char* sql : {"INSERT INTO t VALUES ('x')", "CREATE TABLE u (v)", "PRAGMA user_version = 7"}) {
    EXPECT_EQ(KAVODBExecute(reader.get(), sql, nullptr), -1) << sql;
    EXPECT_STREQ(KAVODBErrorGet(reader.get()), "attempt to write a readonly database") << sql;
  }
}

TEST_F(ReadOnlyTest, WhatIsNotThereIsNotMade) {
  const std::string missing = folder() / "missing.db";
  EXPECT_EQ(KAVODBConnectReadOnly(missing.c_str()), nullptr);
  EXPECT_EQ(KAVODBConnectReadOnly(""), nullptr);
  EXPECT_EQ(KAVODBConnectReadOnly(nullptr), nullptr);
  EXPECT_EQ(KAVODBConnectReadOnly(folder().c_str()), nullptr);
  EXPECT_THAT(Names(), testing::ElementsAre("photo.db"));
}

TEST_F(ReadOnlyTest, ALinkIsNotFollowed) {
  fs::create_symlink(file(), folder() / "link.db");
  EXPECT_EQ(KAVODBConnectReadOnly((folder() / "link.db").c_str()), nullptr);
}

TEST_F(ReadOnlyTest, AFileThatIsNoDatabaseSaysSo) {
  WriteFile(file(), "no database at all, but long enough to be looked at");
  const Connection reader = OpenForReading();
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(KAVODBExecute(reader.get(), "SELECT v FROM t", nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(reader.get()), "file is not a database");
}

TEST_F(ReadOnlyTest, AFolderThatCannotBeWrittenIsReadAsItStands) {
  GiveUpWriting();
  EXPECT_EQ(Value(OpenForReading(), "SELECT v FROM t"), "before");
  EXPECT_THAT(Names(), testing::ElementsAre("photo.db"));
}

TEST_F(ReadOnlyTest, ALogIsReadWhereNothingCanBeWritten) {
  const Connection writer = OpenSqlite(file());
  Send(writer, "UPDATE t SET v = 'in the log'");
  GiveUpWriting();
  EXPECT_EQ(Value(OpenForReading(), "SELECT v FROM t"), "in the log");
}

TEST_F(ReadOnlyTest, AnAnswerThatMayBeOfTwoMomentsIsRefused) {
  GiveUpWriting();
  const Connection reader = OpenForReading();
  EXPECT_EQ(Value(reader, "SELECT v FROM t"), "before");
  WriteElsewhere("UPDATE t SET v = 'after'");
  EXPECT_EQ(KAVODBExecute(reader.get(), "SELECT v FROM t", nullptr), -1);
  EXPECT_STREQ(KAVODBErrorGet(reader.get()), "It was changed while it was read; try again.");
  EXPECT_EQ(Value(OpenForReading(), "SELECT v FROM t"), "after");
}

}  // namespace
