// A library whose owner has prepared what lies beside its database, or the database itself, for whoever looks
// at it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "support/hostile_journal.h"
#include "support/media_maker.h"
#include "support/open_watch.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class HostileDatabaseTest : public ServiceTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 16, 8);
    Index();
    WriteFile(victim(), "not yours");
  }

  fs::path database() const { return folder() / ".KAVOHGADB"; }
  fs::path victim() const { return scratch() / "victim"; }
  RunResult RunOne() {
    const std::string command = GetParam();
    // A run that finds nothing changed does not ask the database.
    if (command == "index") MakeJpeg(File("b.jpg"), 8, 8);
    return Run({command, command == "show" ? File("a.jpg") : folder()});
  }
  void ExpectVictimUntouched() const {
    EXPECT_EQ(ReadFile(victim()), "not yours");
    struct stat status {};
    EXPECT_EQ(stat(victim().c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 9);
  }
  // The command says REASON, in one line, and ends with status 5.
  void ExpectRefused(const std::string& reason) {
    const RunResult result = RunOne();
    EXPECT_EQ(result.status, 5) << result.out;
    const std::string& told = std::string(GetParam()) == "doctor" ? result.out : result.err;
    EXPECT_NE(told.find(reason), std::string::npos) << told;
  }
};

TEST_P(HostileDatabaseTest, AJournalThatNamesAnotherFileDoesNotDeleteIt) {
  PlantJournal(database(), victim());
  const OpenWatch watch(victim());
  ExpectRefused(".KAVOHGADB-journal names another file; it is not ours to touch.");
  EXPECT_FALSE(watch.WasOpened());
  ExpectVictimUntouched();
}

TEST_P(HostileDatabaseTest, AsAUserAJournalDoesNotDeleteTheUsersFile) {
  PlantJournal(database(), victim());
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  ExpectRefused(".KAVOHGADB-journal names another file; it is not ours to touch.");
  ExpectVictimUntouched();
}

TEST_P(HostileDatabaseTest, AHardLinkBesideTheDatabaseIsNotWritten) {
  for (const std::string suffix : {"-journal", "-wal", "-shm"}) {
    SCOPED_TRACE(suffix);
    fs::create_hard_link(victim(), database().string() + suffix);
    ExpectRefused(".KAVOHGADB" + suffix + " has another name (a hard link); a copy has not.");
    ExpectVictimUntouched();
    EXPECT_EQ(fs::hard_link_count(victim()), 2U);
    fs::remove(database().string() + suffix);
  }
}

TEST_P(HostileDatabaseTest, ALinkBesideTheDatabaseIsNotFollowed) {
  for (const std::string suffix : {"-journal", "-wal", "-shm"}) {
    SCOPED_TRACE(suffix);
    for (const fs::path& target : {victim(), scratch() / "nowhere"}) {
      fs::create_symlink(target, database().string() + suffix);
      const OpenWatch watch(victim());
      ExpectRefused(".KAVOHGADB" + suffix + " is not a regular file.");
      EXPECT_FALSE(watch.WasOpened());
      ExpectVictimUntouched();
      EXPECT_FALSE(fs::exists(scratch() / "nowhere"));
      EXPECT_TRUE(fs::is_symlink(database().string() + suffix));
      fs::remove(database().string() + suffix);
    }
  }
}

TEST_P(HostileDatabaseTest, APipeOrAFolderBesideTheDatabaseIsRefusedAtOnce) {
  for (const std::string suffix : {"-journal", "-wal", "-shm"}) {
    SCOPED_TRACE(suffix);
    const fs::path side = database().string() + suffix;
    ASSERT_EQ(mkfifo(side.c_str(), 0600), 0);
    ExpectRefused(".KAVOHGADB" + suffix + " is not a regular file.");
    fs::remove(side);
    fs::create_directory(side);
    ExpectRefused(".KAVOHGADB" + suffix + " is not a regular file.");
    fs::remove(side);
  }
}

TEST_P(HostileDatabaseTest, AForeignSchemaIsNotTrusted) {
  const std::string name = database().string();
  const std::vector<std::pair<std::string, std::string>> foreign{
      {"CREATE VIEW x AS SELECT 1", "the view x"},
      {"CREATE TRIGGER x BEFORE INSERT ON photo_share BEGIN DELETE FROM photo_image; END", "the trigger x"},
      {"CREATE VIRTUAL TABLE x USING fts5(a)", "the virtual table x"},
      {"CREATE TABLE x (a, b AS (a))", "a generated column in the table x"},
      {"CREATE TABLE x (a REFERENCES photo_image ON DELETE CASCADE CHECK (zeroblob(1000000000) = a))",
       "zeroblob() in the table x"},
      {"CREATE INDEX x ON photo_share (hex(comment))", "hex() in the index x"}};
  fs::copy(name, name + ".kept");
  for (const auto& [sql, part] : foreign) {
    SCOPED_TRACE(sql);
    Query(sql);
    ExpectRefused(": Its schema is not ours: " + part + ".");
    for (const char* suffix : {"-wal", "-shm"}) fs::remove(name + suffix);
    fs::copy(name + ".kept", name, fs::copy_options::overwrite_existing);
  }
}

TEST_P(HostileDatabaseTest, AHardLinkInThePlaceOfTheDatabaseIsNotOpened) {
  const fs::path foreign = scratch() / "foreign.db";
  fs::rename(database(), foreign);
  fs::create_hard_link(foreign, database());
  ExpectRefused(".KAVOHGADB has another name (a hard link); a copy has not.");
  EXPECT_FALSE(fs::exists(database().string() + "-wal"));
}

std::string CommandName(const testing::TestParamInfo<const char*>& info) {
  return info.param;
}
INSTANTIATE_TEST_SUITE_P(Commands, HostileDatabaseTest,
                         testing::Values("show", "ls", "albums", "labels", "stats", "export", "doctor",
                                         "index", "reindex", "rights"),
                         CommandName);

}  // namespace
