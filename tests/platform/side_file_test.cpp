// Whose files SQLite takes for what it keeps beside a database, and what root does with them.
#include "db/side_file.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "platform/sqlite_files_fixture.h"
#include "support/access_list.h"
#include "support/child_processes.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;

TEST_F(SqliteFilesTest, ASideFileOfSomebodyWhoMayNotWriteTheDatabaseIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "files cannot be given away here";
  constexpr uid_t kOwner = 1234;
  ASSERT_EQ(chown(file().c_str(), kOwner, kOwner), 0);
  std::ofstream(file() + "-wal") << "something";
  ASSERT_EQ(chown((file() + "-wal").c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal belongs to somebody who may not write the database.");
  chmod(file().c_str(), 0666);
  chmod((file() + "-wal").c_str(), 0666);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "(none)");
}

// A file of root's that somebody has moved here would become the database owner's, who could read it.
TEST_F(SqliteFilesTest, NoSideFileThatWasRootsIsGivenToTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
  ASSERT_EQ(chown(file().c_str(), kNobody, kNobody), 0);
  for (const char* suffix : {"-wal", "-journal", "-shm"}) {
    SCOPED_TRACE(suffix);
    std::ofstream(file() + suffix) << "root's own";
    EXPECT_EQ(ErrorOf("SELECT * FROM t"),
              std::string("photo.db") + suffix + " belongs to somebody who may not write the database.");
    struct stat status {};
    ASSERT_EQ(lstat((file() + suffix).c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(ReadFile(file() + suffix), "root's own");
    fs::remove(file() + suffix);
  }
}

constexpr uid_t kVictim = 20'002;

// What a file that lies beside the database of SqliteFilesTest is, and holds.
struct SideFile {
  uid_t user = kVictim;
  mode_t mode = 0600;
  std::string text = "the victim's secret";
};

// The owner of a folder may rename what others have put into it.
class MovedSideFileTest : public SqliteFilesTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
    SqliteFilesTest::SetUp();
    ASSERT_EQ(chown(file().c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chmod(file().c_str(), 0666), 0);
  }

  std::string path() const { return file() + GetParam(); }
  void Put(const SideFile& side) const {
    std::ofstream(path()) << side.text;
    ASSERT_EQ(chown(path().c_str(), side.user, side.user), 0);
    ASSERT_EQ(chmod(path().c_str(), side.mode), 0);
  }
  void ExpectIs(const SideFile& side) const {
    struct stat status {};
    ASSERT_EQ(lstat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, side.user);
    EXPECT_EQ(status.st_gid, side.user);
    EXPECT_EQ(status.st_mode & 0777, side.mode);
    EXPECT_EQ(ReadFile(path()), side.text);
  }
  std::string PrivateText() const {
    return "photo.db" + std::string(GetParam()) + " is more private than the database.";
  }
};

// All may write the database, so it could be anybody's; but its owner could not read it before.
TEST_P(MovedSideFileTest, ThatIsPrivateStaysItsOwners) {
  Put({});
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), PrivateText());
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES ('w')"), PrivateText());
  ExpectIs({});
}

// Whoever is in the database's group reads that.
TEST_P(MovedSideFileTest, ThatIsOfAnotherGroupStaysItsOwners) {
  ASSERT_EQ(chmod(file().c_str(), 0662), 0);
  const SideFile side{kVictim, 0662};
  Put(side);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), PrivateText());
  ExpectIs(side);
}

// Of a database of root's nobody could ask in the owner's place.
TEST_P(MovedSideFileTest, ThatIsPrivateDoesNotComeIntoADatabaseOfRoots) {
  ASSERT_EQ(chown(file().c_str(), 0, 0), 0);
  Put({});
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), PrivateText());
  ExpectIs({});
}

// The victim's own commands take in no private log of his.
TEST_P(MovedSideFileTest, ThatIsPrivateIsNotTakenByItsOwnerEither) {
  ASSERT_EQ(chmod(folder().parent_path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(folder().c_str(), 0777), 0);
  Put({});
  EXPECT_TRUE(RunChildren(1, [this](int) {
    if (setgid(kVictim) != 0 || setuid(kVictim) != 0) return 1;
    return ErrorOf("SELECT * FROM t") == PrivateText() ? 0 : 1;
  }));
  ExpectIs({});
}

// Root does there what the database's owner could do himself.
TEST_P(MovedSideFileTest, ThatTheDatabasesOwnerMayNotWriteIsNotWritten) {
  const SideFile side{kVictim, 0644};
  Put(side);
  EXPECT_NE(ErrorOf("INSERT INTO t VALUES ('w')"), "(none)");
  ExpectIs(side);
}

// An empty journal is not opened.
class EmptySideFileTest : public MovedSideFileTest {};

// It may be a file that is still to be written: the owner would have what comes.
TEST_P(EmptySideFileTest, KeepsOwnerAndMode) {
  for (const SideFile& side : {SideFile{kVictim, 0677, ""}, SideFile{0, 0600, ""}}) {
    Put(side);
    const Connection db = OpenSqlite(file());
    EXPECT_EQ(ErrorOf(db, "SELECT * FROM t"), "(none)");
    struct stat status {};
    ASSERT_EQ(lstat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, side.user);
    EXPECT_EQ(status.st_mode & 0777, side.mode);
  }
}

// As others of the same folder leave them.
TEST_P(MovedSideFileTest, ThatIsAsPublicAsTheDatabaseIsTaken) {
  Put({kVictim, 0666, "of another writer"});
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "(none)");
}

std::string SuffixName(const testing::TestParamInfo<const char*>& info) {
  return std::string(info.param).substr(1);
}
INSTANTIATE_TEST_SUITE_P(Names, MovedSideFileTest, testing::Values("-journal", "-wal", "-shm"), SuffixName);
INSTANTIATE_TEST_SUITE_P(Names, EmptySideFileTest, testing::Values("-wal", "-shm"), SuffixName);

TEST_F(SqliteFilesTest, AGroupThatMayWriteIsTheDatabasesOwn) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
  constexpr gid_t kGroup = 20'003;
  ASSERT_EQ(chown(file().c_str(), kNobody, kGroup), 0);
  ASSERT_EQ(chmod(file().c_str(), 0664), 0);
  std::ofstream(file() + "-wal").close();
  ASSERT_EQ(chown((file() + "-wal").c_str(), 20'004, 20'004), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal belongs to somebody who may not write the database.");
  const passwd* member = getpwnam("bin");
  if (member == nullptr) GTEST_SKIP() << "no account but root's here";
  ASSERT_EQ(chown(file().c_str(), kNobody, member->pw_gid), 0);
  ASSERT_EQ(chown((file() + "-wal").c_str(), member->pw_uid, kGroup), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "(none)");
}

TEST_F(SqliteFilesTest, AGroupThatMayOnlyReadIsNot) {
  const passwd* member = getpwnam("bin");
  if (geteuid() != 0 || member == nullptr) GTEST_SKIP() << "only root can give files to others";
  ASSERT_EQ(chown(file().c_str(), kNobody, member->pw_gid), 0);
  ASSERT_EQ(chmod(file().c_str(), 0644), 0);
  std::ofstream(file() + "-wal").close();
  ASSERT_EQ(chown((file() + "-wal").c_str(), member->pw_uid, member->pw_gid), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal belongs to somebody who may not write the database.");
}

// Its folder has given it the database's group.
TEST_F(SqliteFilesTest, ASideFileOfSomebodyOutsideTheGroupIsRefusedThoughItBearsIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
  constexpr gid_t kGroup = 20'003;
  ASSERT_EQ(chown(file().c_str(), kNobody, kGroup), 0);
  ASSERT_EQ(chmod(file().c_str(), 0664), 0);
  std::ofstream(file() + "-wal").close();
  ASSERT_EQ(chown((file() + "-wal").c_str(), 20'004, kGroup), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal belongs to somebody who may not write the database.");
}

constexpr uid_t kNamed = 20'005;

// Lets the user kNamed write FILE.
bool NameInList(const std::string& file, std::uint16_t group, std::uint16_t others) {
  return NameInAccessList(file, kNamed, {6, group, others});
}

// The owner, a user and the mask of an access list may write; the group reads.
TEST_F(SqliteFilesTest, WhatAnAccessListAllowsIsNotTheGroups) {
  const passwd* member = getpwnam("bin");
  if (geteuid() != 0 || member == nullptr) GTEST_SKIP() << "only root can give files to others";
  ASSERT_EQ(chown(file().c_str(), kNobody, member->pw_gid), 0);
  if (!NameInList(file(), 4, 4)) GTEST_SKIP() << "no access lists here";
  struct stat status {};
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  ASSERT_EQ(status.st_mode & 0777, 0664U);
  std::ofstream(file() + "-wal").close();
  ASSERT_EQ(chown((file() + "-wal").c_str(), member->pw_uid, member->pw_gid), 0);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal belongs to somebody who may not write the database.");
}

// A database of kNobody's that kNamed may write by an access list, in a folder that all may write.
class ListedDatabaseTest : public SqliteFilesTest {
 protected:
  static constexpr gid_t kGroup = 20'003;
  static constexpr gid_t kOwnGroup = 20'006;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be several users";
    SqliteFilesTest::SetUp();
    ASSERT_EQ(chown(file().c_str(), kNobody, kGroup), 0);
    ASSERT_EQ(chmod(folder().parent_path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(folder().c_str(), 0777), 0);
    if (!NameInList(file(), 6, 0)) GTEST_SKIP() << "no access lists here";
  }

  // What ACT answers as USER, of the groups OWN and FURTHER.
  template <typename Act>
  static bool As(uid_t user, gid_t own, gid_t further, Act&& act) {
    return RunChildren(1, [&](int) {
      const bool is_user = setgroups(1, &further) == 0 && setgid(own) == 0 && setuid(user) == 0;
      return is_user && act() ? 0 : 1;
    });
  }
  // kNamed adds a row and is killed.
  bool LeaveLog(gid_t further) const {
    return As(kNamed, kOwnGroup, further, [this] {
      const Connection db = OpenSqlite(file());
      const bool sent = ErrorOf(db, "INSERT INTO t VALUES ('of kNamed')") == "(none)";
      _exit(sent ? 0 : 1);
      return false;
    });
  }
  bool ReadsAll(const std::string& rows) const {
    const Connection db = OpenSqlite(file());
    return db != nullptr && Value(db, "SELECT count(*) v FROM t") == rows;
  }
};

TEST_F(ListedDatabaseTest, ItsOwnerTakesInWhatSomebodyOfTheListHasLeft) {
  ASSERT_TRUE(LeaveLog(kOwnGroup));
  ASSERT_TRUE(fs::exists(file() + "-wal"));
  EXPECT_TRUE(As(kNobody, kNobody, kNobody, [this] { return ReadsAll("2"); }));
  EXPECT_EQ(Names(), std::set<std::string>{"photo.db"}) << "the log was taken in";
}

TEST_F(ListedDatabaseTest, SoDoesRoot) {
  ASSERT_TRUE(LeaveLog(kOwnGroup));
  EXPECT_TRUE(ReadsAll("2"));
  EXPECT_EQ(Names(), std::set<std::string>{"photo.db"});
}

TEST_F(ListedDatabaseTest, SoDoesAMemberOfTheDatabasesGroup) {
  for (const gid_t group_of_log : {kOwnGroup, kGroup}) {
    ASSERT_TRUE(LeaveLog(group_of_log));
    EXPECT_TRUE(As(20'007, 20'008, kGroup, [&] { return ReadsAll(group_of_log == kGroup ? "3" : "2"); }));
    EXPECT_EQ(Names(), std::set<std::string>{"photo.db"});
  }
}

// Whoever else is in kNamed's group may not read the database.
TEST_F(ListedDatabaseTest, TheLogIsNotOpenedToTheGroupOfItsMaker) {
  ASSERT_TRUE(LeaveLog(kOwnGroup));
  EXPECT_TRUE(As(20'007, kOwnGroup, kOwnGroup,
                 [this] { return access((file() + "-wal").c_str(), R_OK) != 0 && errno == EACCES; }));
}

}  // namespace
