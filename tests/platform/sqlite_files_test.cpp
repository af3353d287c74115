// What a connection to an SQLite file opens, deletes and makes beside it, whatever lies there.
#include "db/sqlite_files.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include "platform/nameless_files.h"
#include "platform/sqlite_files_fixture.h"
#include "support/child_processes.h"
#include "support/hostile_journal.h"
#include "support/open_watch.h"

namespace fs = std::filesystem;

using namespace std::chrono_literals;

namespace {
// While `counts_pauses` says so, pauses take no time and are added up.
bool counts_pauses = false;
std::chrono::nanoseconds paused{0};
}  // namespace

extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time, timespec* rest) {
  if (counts_pauses) {
    paused += std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec);
    return 0;
  }
  const int error = clock_nanosleep(CLOCK_REALTIME, 0, time, rest);
  errno = error != 0 ? error : errno;
  return error == 0 ? 0 : -1;
}

namespace {

constexpr uid_t kNobody = 65534;

// COUNT texts of a mebibyte each, which an order by all of them has to put somewhere.
std::string Huge(int count) {
  return "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
         std::to_string(count) +
         ") SELECT length(b) > 1048576 v FROM (SELECT i || hex(zeroblob(524288)) b FROM n ORDER BY b) LIMIT "
         "1";
}

TEST_F(SqliteFilesTest, AnotherDatabaseIsNotAttached) {
  for (const std::string& other : {Beside("other.db").string(), file(), std::string("file:x?vfs=unix")}) {
    EXPECT_EQ(ErrorOf("ATTACH '" + other + "' AS other"), "not authorized");
    EXPECT_EQ(ErrorOf("ATTACH substr('" + other + "', 1) AS other"), "not authorized");
  }
  EXPECT_FALSE(fs::exists(Beside("other.db")));
}

TEST_F(SqliteFilesTest, ACopyIsNotWrittenIntoAnotherFile) {
  EXPECT_EQ(ErrorOf("VACUUM INTO '" + Beside("other.db").string() + "'"), "authorization denied");
  EXPECT_FALSE(fs::exists(Beside("other.db")));
}

TEST_F(SqliteFilesTest, AVacuumWorks) {
  Send(OpenSqlite(file()), "INSERT INTO t VALUES (hex(zeroblob(200000))); DELETE FROM t WHERE v <> 'v'");
  const auto before = fs::file_size(file());
  const Connection db = OpenSqlite(file());
  Send(db, "VACUUM");
  EXPECT_EQ(Value(db, "SELECT v FROM t"), "v");
  Send(db, "PRAGMA wal_checkpoint(TRUNCATE)");
  EXPECT_LT(fs::file_size(file()), before);
}

TEST_F(SqliteFilesTest, TemporaryRoomIsInMemoryBoundedAndGivenBack) {
  fs::create_directory(Beside("tmp"));
  setenv("SQLITE_TMPDIR", Beside("tmp").c_str(), 1);
  const OpenWatch watch(Beside("tmp"));
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, Huge(300)), "It needs more than 256 MiB of temporary room.");
  EXPECT_EQ(ErrorOf(db, "SELECT missing"), "no such column: missing");
  EXPECT_EQ(Value(db, Huge(150)), "1");
  EXPECT_EQ(Value(db, Huge(150)), "1");
  EXPECT_FALSE(watch.WasOpened());
  unsetenv("SQLITE_TMPDIR");
}

// More than SQLite keeps of it by itself.
TEST_F(SqliteFilesTest, AStatementOfATransactionIsTakenBackAlone) {
  const Connection db = OpenSqlite(file());
  Send(db,
       "CREATE TABLE u (n INTEGER, b TEXT, k INTEGER UNIQUE); "
       "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
       "INSERT INTO u SELECT i, hex(zeroblob(500)), i FROM n; BEGIN; INSERT INTO u VALUES (0, '', 0)");
  EXPECT_EQ(ErrorOf(db, "UPDATE u SET b = hex(zeroblob(500)) || 'x', k = CASE n WHEN 2000 THEN 1 ELSE k END"),
            "UNIQUE constraint failed: u.k");
  EXPECT_EQ(Names(), (std::set<std::string>{"photo.db", "photo.db-shm", "photo.db-wal"}));
  Send(db, "COMMIT");
  EXPECT_EQ(Value(db, "SELECT count(*) v FROM u WHERE length(b) <= 1000"), "2001");
}

// Where no file can be without a name, what takes a statement back lies in memory.
TEST_F(SqliteFilesTest, WhatTakesAStatementBackIsBoundedInMemory) {
  const auto change = [](int rows) {
    return "UPDATE u SET b = zeroblob(30001), k = CASE n WHEN " + std::to_string(rows) +
           " THEN 0 ELSE k END WHERE n <= " + std::to_string(rows);
  };
  fs::remove(file());
  const Connection db = OpenSqlite(file());
  Send(db,
       "PRAGMA page_size = 65536; PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF; CREATE TABLE u (n "
       "INTEGER PRIMARY KEY, b BLOB, "
       "k UNIQUE); WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 9000) "
       "INSERT INTO u SELECT i, zeroblob(30000), i FROM n; BEGIN; INSERT INTO u VALUES (0, '', 0)");
  without_nameless_files = true;
  EXPECT_EQ(ErrorOf(db, change(2000)), "UNIQUE constraint failed: u.k");
  EXPECT_EQ(Value(db, "SELECT count(*) v FROM u WHERE length(b) = 30001"), "0");
  EXPECT_EQ(ErrorOf(db, change(9000)), "It needs more than 256 MiB of temporary room.");
  without_nameless_files = false;
}

TEST_F(SqliteFilesTest, AnAnswerHasABound) {
  const auto many = [](int count) {
    return "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(count) + ") SELECT hex(zeroblob(8388604)) FROM n";
  };
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, many(31)), "(none)");
  EXPECT_EQ(ErrorOf(db, many(1'000'000'000)), "The answer is larger than 512 MiB.");
  EXPECT_EQ(Value(db, "SELECT v FROM t"), "v") << "the connection goes on";
}

// Of each only its place is kept.
TEST_F(SqliteFilesTest, AnAnswerOfNothingsHasABoundToo) {
  const auto many = [](int count) {
    std::string columns = "NULL";
    for (int i = 1; i < 100; ++i) columns += ", NULL";
    return "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(count) + ") SELECT " + columns + " FROM n";
  };
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(ErrorOf(db, many(150'000)), "(none)");
  EXPECT_EQ(ErrorOf(db, many(700'000)), "The answer is larger than 512 MiB.");
}

TEST_F(SqliteFilesTest, AJournalThatNamesAnotherFileIsNotTakenBack) {
  std::ofstream(Beside("victim")) << "not yours";
  PlantJournal(file(), Beside("victim"));
  const OpenWatch watch(Beside("victim"));
  constexpr const char* kRefused = "photo.db-journal names another file; it is not ours to touch.";
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), kRefused);
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES ('w')"), kRefused);
  EXPECT_EQ(ErrorOf(Connection(KAVODBConnectReadOnly(file().c_str())), "SELECT * FROM t"), kRefused);
  EXPECT_FALSE(watch.WasOpened());
  EXPECT_TRUE(fs::exists(Beside("victim")));
  EXPECT_TRUE(fs::exists(file() + "-journal")) << "what belongs to others is not thrown away";
}

// Such a journal may name a side file of the very database, too, as its folder is called for the connection.
TEST_F(SqliteFilesTest, AJournalThatNamesTheDatabaseIsNotTakenBack) {
  for (int descriptor = 3; descriptor < 64; ++descriptor) {
    PlantJournal(file(), "/proc/self/fd/" + std::to_string(descriptor) + "/photo.db");
    EXPECT_NE(ErrorOf("SELECT * FROM t"), "(none)");
    ASSERT_TRUE(fs::exists(file()));
  }
}

TEST_F(SqliteFilesTest, ASideFileWithASecondNameIsRefused) {
  std::ofstream(Beside("victim")) << "not yours";
  fs::create_hard_link(Beside("victim"), file() + "-wal");
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal has another name (a hard link); a copy has not.");
}

TEST_F(SqliteFilesTest, ASideFileThatIsAFolderIsRefused) {
  fs::create_directory(file() + "-wal");
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db-wal is not a regular file.");
}

// One of readers would let the file be opened for reading; a writer is not made a reader silently.
TEST_F(SqliteFilesTest, ALeaseHoldsNobodyForLong) {
  signal(SIGIO, SIG_IGN);
  for (const int kind : {F_WRLCK, F_RDLCK}) {
    const FileDescriptor held(open(file().c_str(), O_RDONLY));
    ASSERT_EQ(fcntl(held.get(), F_SETLEASE, kind), 0);
    paused = 0s;
    counts_pauses = true;
    EXPECT_EQ(ErrorOf("SELECT * FROM t"), "photo.db is held by its owner (a lease); try again.");
    counts_pauses = false;
    EXPECT_EQ(paused, 2s);
  }
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "(none)");
}

// What a program that keeps files for others does when it is asked to.
TEST_F(SqliteFilesTest, ALeaseThatIsGivenUpInTimeIsWaitedFor) {
  static int held = -1;
  held = open(file().c_str(), O_RDONLY);
  signal(SIGIO, [](int) { fcntl(held, F_SETLEASE, F_UNLCK); });
  ASSERT_EQ(fcntl(held, F_SETLEASE, F_WRLCK), 0);
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES ('w')"), "(none)");
  signal(SIGIO, SIG_IGN);
  close(held);
}

// It could not end its log, and what it left would be in everybody's way.
TEST_F(SqliteFilesTest, WhoMayNotWriteTheDatabaseLeavesNothingBesideIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be several users";
  constexpr uid_t kOwner = 1234;
  ASSERT_EQ(chown(file().c_str(), kOwner, kOwner), 0);
  ASSERT_EQ(chmod(folder().parent_path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(folder().c_str(), 0777), 0);
  EXPECT_TRUE(RunChildren(1, [this](int) {
    if (setgid(kNobody) != 0 || setuid(kNobody) != 0) return 1;
    const bool told = ErrorOf("INSERT INTO t VALUES ('w')") ==
                      "photo.db belongs to user 1234; user 65534 may not write it.";
    return told ? 0 : 1;
  }));
  EXPECT_EQ(Names(), std::set<std::string>{"photo.db"});
  EXPECT_EQ(ErrorOf("INSERT INTO t VALUES ('w')"), "(none)");
}

TEST_F(SqliteFilesTest, SideFilesThatRootMakesBelongToTheDatabasesOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "files cannot be given away here";
  ASSERT_EQ(chown(file().c_str(), kNobody, kNobody), 0);
  const Connection db = OpenSqlite(file());
  Send(db, "INSERT INTO t VALUES ('w')");
  for (const char* suffix : {"-wal", "-shm"}) {
    struct stat status {};
    ASSERT_EQ(lstat((file() + suffix).c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody) << suffix;
  }
}

// SQLite's question whose a file is, answered while OTHER stands in the place of FILE.
class ExchangedAtStat {
 public:
  ExchangedAtStat(const fs::path& file, const fs::path& other) {
    file_ = file;
    other_ = other;
    before_ = system()->xGetSystemCall(system(), "stat");
    system()->xSetSystemCall(system(), "stat", reinterpret_cast<sqlite3_syscall_ptr>(&Status));
  }
  ~ExchangedAtStat() { system()->xSetSystemCall(system(), "stat", before_); }
  ExchangedAtStat(const ExchangedAtStat&) = delete;
  ExchangedAtStat& operator=(const ExchangedAtStat&) = delete;

  inline static int calls_ = 0;

 private:
  static sqlite3_vfs* system() { return sqlite3_vfs_find("unix"); }
  static void Exchange() { renameat2(AT_FDCWD, file_.c_str(), AT_FDCWD, other_.c_str(), RENAME_EXCHANGE); }
  static int Status(const char* path, void* status) {
    ++calls_;
    Exchange();
    const int result = reinterpret_cast<int (*)(const char*, void*)>(before_)(path, status);
    Exchange();
    return result;
  }

  inline static fs::path file_;
  inline static fs::path other_;
  inline static sqlite3_syscall_ptr before_ = nullptr;
};

TEST_F(SqliteFilesTest, SideFilesThatRootMakesAreTheOwnersWhateverStandsInTheDatabasesPlace) {
  if (geteuid() != 0) GTEST_SKIP() << "files cannot be given away here";
  constexpr uid_t kOther = 20'004;
  ASSERT_EQ(chown(file().c_str(), kNobody, kNobody), 0);
  std::ofstream(Beside("other")) << "another's";
  ASSERT_EQ(chown(Beside("other").c_str(), kOther, kOther), 0);
  fs::create_symlink(Beside("other"), folder() / "link");
  const ExchangedAtStat exchanged(file(), folder() / "link");
  const Connection db = OpenSqlite(file());
  Send(db, "INSERT INTO t VALUES ('w')");
  EXPECT_GT(ExchangedAtStat::calls_, 0);
  for (const char* suffix : {"-wal", "-shm"}) {
    struct stat status {};
    ASSERT_EQ(lstat((file() + suffix).c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody) << suffix;
  }
}

// The second of two connections takes the shared memory away, under the name that the first had for it.
TEST_F(SqliteFilesTest, TheSharedMemoryOfAnotherDatabaseStays) {
  const std::string other = Beside("photo.db");
  Send(OpenSqlite(other), "PRAGMA journal_mode=WAL; CREATE TABLE t (v text)");
  Connection first = OpenSqlite(file());
  Send(first, "SELECT * FROM t");
  Connection second = OpenSqlite(file());
  Send(second, "SELECT * FROM t");
  first.reset();
  const Connection elsewhere = OpenSqlite(other);
  Send(elsewhere, "SELECT * FROM t");
  second.reset();
  EXPECT_TRUE(fs::exists(other + "-shm"));
  EXPECT_EQ(Names(), std::set<std::string>{"photo.db"});
}

TEST_F(SqliteFilesTest, TheHostsOwnConnectionsAreAsBefore) {
  sqlite3_vfs* system = sqlite3_vfs_find("unix");
  const auto open_before = system->xGetSystemCall(system, "open");
  const auto stat_before = system->xGetSystemCall(system, "stat");
  const auto give_before = system->xGetSystemCall(system, "fchown");
  const auto mode_before = system->xGetSystemCall(system, "fchmod");
  {
    const Connection db = OpenSqlite(file());
    Send(db, "INSERT INTO t VALUES ('w')");
    EXPECT_STREQ(sqlite3_vfs_find(nullptr)->zName, "unix");
    EXPECT_EQ(system->xGetSystemCall(system, "open"), open_before);
    EXPECT_EQ(system->xGetSystemCall(system, "stat"), stat_before);
  }
  EXPECT_EQ(system->xGetSystemCall(system, "open"), open_before);
  EXPECT_EQ(system->xGetSystemCall(system, "fchown"), give_before);
  EXPECT_EQ(system->xGetSystemCall(system, "fchmod"), mode_before);
  int registered = 0;
  for (const sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr); vfs != nullptr; vfs = vfs->pNext)
    registered += std::string(vfs->zName).starts_with("lumivault") ? 1 : 0;
  EXPECT_EQ(registered, 0);
}

// The system's files in the place of "unix", with a tail of an odd length behind what they keep of a file,
// which is filled by the open.
class LongerFiles {
 public:
  static constexpr int kTail = 12;
  static constexpr char kFill = 'f';

  LongerFiles() : vfs_(*system()) {
    vfs_.szOsFile += kTail;
    vfs_.xOpen = [](sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
      const int code = system()->xOpen(system(), name, file, flags, out_flags);
      last_tail() = reinterpret_cast<char*>(file) + system()->szOsFile;
      std::memset(last_tail(), kFill, kTail);
      return code;
    };
    sqlite3_vfs_register(&vfs_, 1);
  }
  ~LongerFiles() {
    sqlite3_vfs_unregister(&vfs_);
    sqlite3_vfs_register(system(), 1);
  }
  LongerFiles(const LongerFiles&) = delete;
  LongerFiles& operator=(const LongerFiles&) = delete;

  // Of the file opened last, which is still open.
  static std::string Tail() { return {last_tail(), kTail}; }

 private:
  static sqlite3_vfs* system() {
    static sqlite3_vfs* const found = sqlite3_vfs_find("unix");
    return found;
  }
  static char*& last_tail() {
    static char* tail = nullptr;
    return tail;
  }

  sqlite3_vfs vfs_;
};

TEST_F(SqliteFilesTest, WhatTheSystemKeepsOfAFileIsItsOwnWhateverItsSize) {
  const LongerFiles longer;
  const Connection db = OpenSqlite(file());
  EXPECT_EQ(LongerFiles::Tail(), std::string(LongerFiles::kTail, LongerFiles::kFill));
  EXPECT_EQ(Value(db, Huge(150)), "1");
}

// Those before SQLite 3.7.6 have no table of their calls, in which an open could be exchanged.
TEST_F(SqliteFilesTest, ASystemWithoutATableOfItsCallsIsNotUsed) {
  sqlite3_vfs* system = sqlite3_vfs_find("unix");
  sqlite3_vfs older = *system;
  older.iVersion = 2;
  sqlite3_vfs_register(&older, 1);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "SQLite has no files of a Unix system.");
  sqlite3_vfs_unregister(&older);
  sqlite3_vfs_register(system, 1);
  EXPECT_EQ(ErrorOf("SELECT * FROM t"), "(none)");
}

// What SQLite's own files are made to do while one of ours is opened concerns this thread's alone.
TEST_F(SqliteFilesTest, OtherThreadsOpenFilesOfTheirOwnMeanwhile) {
  constexpr int kOpens = 60;
  std::atomic<int> opens{0};
  std::atomic<int> failures{0};
  std::thread host([&] {
    while (opens < kOpens) {
      sqlite3* opened = nullptr;
      sqlite3_open(Beside("host.db").c_str(), &opened);
      if (sqlite3_exec(opened, "CREATE TABLE IF NOT EXISTS h (v); INSERT INTO h VALUES (1)", nullptr, nullptr,
                       nullptr) != SQLITE_OK)
        ++failures;
      sqlite3_close(opened);
      ++opens;
    }
  });
  int ours = 0;
  while (opens < kOpens || ours == 0) ours += ErrorOf("SELECT v FROM t") == "(none)" ? 1 : -kOpens;
  host.join();
  EXPECT_EQ(failures, 0);
  EXPECT_GT(ours, 0);
  EXPECT_EQ(Names(), std::set<std::string>{"photo.db"});
}

}  // namespace
