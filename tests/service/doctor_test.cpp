// What `doctor` finds, one situation each, and that its remedy helps where it is a command.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kAllIsWell = "all is well\nmemory of a worker: 512 MiB at most\n";

class DoctorTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 8, 8);
    Index();
  }
  RunResult Doctor() { return Run({"doctor", folder()}); }
  fs::path Database() const { return folder() / ".KAVOHGADB"; }
  void Execute(const std::string& sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(Database().c_str(), &handle), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(handle, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
  }
  // Its rows stay as they are.
  void ChangeTable(const std::string& table, const std::string& from, const std::string& to) const {
    Execute("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = replace(sql, '" + from + "', '" +
            to + "') WHERE name = '" + table + "'");
  }
};

TEST_F(DoctorTest, FindsNothingWhereAllIsWell) {
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kAllIsWell);
  const Json::Value json = StrictJson(Run({"doctor", folder(), "--json"}).out);
  EXPECT_TRUE(json["healthy"].asBool());
  EXPECT_EQ(json["problems"].size(), 0U);
}

TEST_F(DoctorTest, ChangesNothing) {
  fs::remove_all(state());
  const RunResult result = Run({"doctor"});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, state().string() +
                            ": the state folder is not there\n  run: lumivault index, or lumivault init "
                            "--shared; both make it\n");
  EXPECT_FALSE(fs::exists(state()));
}

TEST_F(DoctorTest, AMissingMarkerAndSetting) {
  fs::remove(state() / "var/packages/Lumivault/enabled");
  WriteFile(state() / "var/packages/Lumivault/etc/settings.conf", "runpersonallumivault=\"no\"\n");
  const Json::Value json = StrictJson(Run({"doctor", folder(), "--json"}).out);
  EXPECT_FALSE(json["healthy"].asBool());
  ASSERT_EQ(json["problems"].size(), 2U);
  EXPECT_EQ(json["problems"][0]["problem"].asString(), "the package marker: No such file or directory");
  EXPECT_EQ(json["problems"][1]["problem"].asString(),
            "runpersonallumivault is not \"yes\", so personal libraries are off");
}

TEST_F(DoctorTest, MissingSettings) {
  const fs::path settings = state() / "var/packages/Lumivault/etc/settings.conf";
  fs::remove(settings);
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out,
            settings.string() +
                ": No such file or directory\n  run: lumivault index, or lumivault init --shared; "
                "both make it\n");
  Index();
  EXPECT_EQ(Doctor().out, kAllIsWell);
}

TEST_F(DoctorTest, ALibraryThatIsSwitchedOff) {
  const fs::path settings =
      fs::directory_iterator(state() / "usr/kavo/etc/preference")->path() / "kavoinfo.conf";
  WriteFile(settings, "runpersonallumivault=\"no\"\n");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, settings.string() +
                            ": runpersonallumivault is not \"yes\"\n  set "
                            "runpersonallumivault=\"yes\" in it\n");
}

TEST_F(DoctorTest, AMissingPlugIn) {
  Environment("LUMIVAULT_PLUGIN", "/nowhere/plugin.so");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out,
            "/nowhere/plugin.so: No such file or directory\n  set LUMIVAULT_PLUGIN to the path of "
            "libphotoindex.so\n");
}

TEST_F(DoctorTest, AMissingWorkerProgram) {
  Environment("LUMIVAULT_PLUGIN", TEST_PLUGIN);
  fs::remove(UseCopyOfProgram() / "lumivault-worker");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, "lumivault-worker: not found beside the program\n  install Lumivault again\n");
}

TEST_F(DoctorTest, AFolderThatIsNoLibrary) {
  const RunResult result = Run({"doctor", scratch()});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + scratch().string() +
                            ": lies in no library; lumivault index makes one of a folder\n");
}

TEST_F(DoctorTest, PrintsOneJsonObjectWhereThereIsNoLibrary) {
  const Json::Value failed = StrictJson(Run({"doctor", scratch(), "--json"}).out);
  EXPECT_EQ(failed["error"].asString(),
            scratch().string() + ": lies in no library; lumivault index makes one of a folder");
  EXPECT_EQ(failed["status"].asInt(), 4);
  EXPECT_FALSE(failed.isMember("problems"));
  fs::remove(state() / "var/packages/Lumivault/enabled");
  const RunResult both = Run({"doctor", scratch(), "--json"});
  EXPECT_EQ(both.status, 4);
  const Json::Value more = StrictJson(both.out);
  EXPECT_EQ(more["error"], failed["error"]);
  EXPECT_EQ(more["status"], failed["status"]);
  EXPECT_FALSE(more["healthy"].asBool());
  EXPECT_EQ(more["problems"].size(), 1U);
}

TEST_F(DoctorTest, ADatabaseThatIsGone) {
  ForgetLibrary();
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out, Database().string() + ": No such file or directory\n  run: lumivault index " +
                            folder().string() + "\n");
  Index();
  EXPECT_EQ(Doctor().out, kAllIsWell);
}

TEST_F(DoctorTest, ADamagedDatabase) {
  Damage(Database());
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out, Database().string() +
                            ": damaged: database disk image is malformed\n  keep a copy of it, delete it and "
                            "run: lumivault index " +
                            folder().string() +
                            "; people and comments given by hand are in the copy alone\n");
}

// A rule that was added to a table later finds rows that do not keep it.
TEST_F(DoctorTest, ATableOfAnotherProgramThatIsNotAsItShouldBeIsNoDamage) {
  Execute("CREATE TABLE notes (x); INSERT INTO notes VALUES (NULL)");
  ChangeTable("notes", "x", "x NOT NULL");
  ASSERT_EQ(Value("PRAGMA quick_check"), "NULL value in notes.x");
  EXPECT_EQ(Doctor().out, kAllIsWell);
}

TEST_F(DoctorTest, ATableOfTheLibraryThatIsNotAsItShouldBeIsDamage) {
  Execute("CREATE TABLE notes (x); INSERT INTO notes VALUES (NULL)");
  ChangeTable("notes", "x", "x NOT NULL");
  Query("INSERT INTO video_comment (path) VALUES ('a.mp4')");
  ChangeTable("video_comment", "name TEXT", "name TEXT NOT NULL");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out,
              StartsWith(Database().string() + ": damaged: NULL value in video_comment.name\n  keep a copy"));
}

TEST_F(DoctorTest, ASideFileOfSomebodyWhoMayNotWriteTheDatabase) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
  for (const char* suffix : {"-wal", "-shm"}) {
    const std::string file = Database().string() + suffix;
    WriteFile(file, "");
    ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
    const RunResult result = Doctor();
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(
        result.out,
        Database().string() + ": .KAVOHGADB" + suffix +
            " belongs to somebody who may not write the database.\n  while nothing else uses the library, "
            "run: rm " +
            file + "\n");
    fs::remove(file);
  }
  EXPECT_EQ(Doctor().out, kAllIsWell);
}

// It may be what he has committed, or a file of his that the folder's owner has renamed.
TEST_F(DoctorTest, WhatASideFileOfSomebodyHoldsIsNotThrownAway) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to others";
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {
    for (const auto& [mode, problem] :
         std::map<mode_t, std::string>{{0644, " belongs to somebody who may not write the database."},
                                       {0666, " is more private than the database."}}) {
      ASSERT_EQ(chmod(Database().c_str(), mode), 0);
      const std::string file = Database().string() + suffix;
      WriteFile(file, "something");
      ASSERT_EQ(chmod(file.c_str(), 0600), 0);
      ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
      const RunResult result = Doctor();
      EXPECT_EQ(result.status, 5);
      EXPECT_EQ(
          result.out,
          Database().string() + ": .KAVOHGADB" + suffix + problem +
              "\n  user 65534 may have added to the library through it: let that user run lumivault ls " +
              folder().string() + "; or else, while nothing else uses the library, run: mv " + file + " " +
              file + ".kept\n");
      fs::remove(file);
    }
  }
}

TEST_F(DoctorTest, AnOldSchema) {
  Query("ALTER TABLE video DROP COLUMN lng");
  Query("DROP TABLE photo_video_label");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  const std::string file = Database().string();
  EXPECT_EQ(result.out, file + ": the table photo_video_label is missing\n  run: lumivault index " +
                            folder().string() + "\n" + file +
                            ": too old: the column video.lng is missing\n  run in it: ALTER TABLE video ADD "
                            "COLUMN lng REAL\n");
}

TEST_F(DoctorTest, AMissingKeyThatAReindexMakes) {
  for (const char* sql : {"DROP INDEX photo_manage_right_key", "DROP INDEX photo_image_label_key",
                          "INSERT INTO photo_manage_right VALUES (7, 1, 'first'), (7, 1, 'second')"}) {
    Query(sql);
  }
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  const std::string remedy = " is missing\n  run: lumivault reindex " + folder().string() + "\n";
  const std::string problem = Database().string() + ": too old: the key ";
  EXPECT_EQ(result.out,
            problem + "photo_image_label_key" + remedy + problem + "photo_manage_right_key" + remedy);
  EXPECT_EQ(Run({"reindex", folder(), "--quiet"}).status, 0);
  EXPECT_EQ(Doctor().out, kAllIsWell);
  EXPECT_EQ(Value("SELECT time FROM photo_manage_right"), "first");
}

TEST_F(DoctorTest, APersonWithoutASwitch) {
  const fs::path settings =
      fs::directory_iterator(state() / "usr/kavo/etc/preference")->path() / "kavoinfo.conf";
  fs::remove(settings);
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, settings.string() + ": No such file or directory\n  run: lumivault index " +
                            folder().string() + "\n");
}

// What the modes of files forbid an ordinary user.
class ForbiddenTest : public DoctorTest {
 protected:
  void SetUp() override {
    DoctorTest::SetUp();
    if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  }
  // What is said of PATH while it has MODE, and nothing else is.
  void ExpectFinding(const fs::path& path, mode_t mode, int status, const std::string& finding) {
    chmod(path.c_str(), mode);
    const RunResult result = Doctor();
    chmod(path.c_str(), 0700);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, path.string() + ": " + finding);
  }
};

TEST_F(ForbiddenTest, AFolderThatCannotBeWritten) {
  ExpectFinding(folder(), 0500, 4,
                "cannot be written, and the database is in it: Permission denied\n"
                "  let this user write to it\n");
}

TEST_F(ForbiddenTest, AFolderThatCannotBeRead) {
  ExpectFinding(folder(), 0300, 4, "cannot be read: Permission denied\n  let this user read and enter it\n");
}

TEST_F(ForbiddenTest, AStateFolderThatCannotBeWritten) {
  ExpectFinding(state(), 0500, 4, "the state folder: Permission denied\n  make it this user's own\n");
}

TEST_F(ForbiddenTest, SettingsThatCannotBeRead) {
  ExpectFinding(state() / "var/packages/Lumivault/etc/settings.conf", 0, 4,
                "Permission denied\n  make it readable for this user\n");
}

TEST_F(ForbiddenTest, ADatabaseThatCannotBeRead) {
  ExpectFinding(Database(), 0, 5,
                "unable to open database file\n  make it a regular file that this user may read, with "
                "nothing of others beside it\n");
}

class SharedDoctorTest : public SharedTreeTest {
 protected:
  RunResult Doctor() { return Run({"doctor", "--shared"}); }
};

TEST_F(SharedDoctorTest, FindsNothingWhereAllIsWell) {
  EXPECT_EQ(Doctor().out, kAllIsWell);
  EXPECT_EQ(Run({"doctor"}).out, kAllIsWell);
  EXPECT_EQ(Doctor().status, 0);
}

TEST_F(SharedDoctorTest, AServerThatIsAway) {
  Environment("PGHOST", "/nowhere");
  const RunResult result = Run({"doctor"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, StartsWith("PostgreSQL server: "));
  EXPECT_THAT(result.out, HasSubstr("\n  start it, or name another one in PGHOST, PGPORT or PGSERVICE\n"));
}

TEST_F(SharedDoctorTest, ADatabaseThatIsAbsent) {
  ASSERT_EQ(std::system("dropdb --force -U postgres photo"), 0);
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, HasSubstr("database \"photo\" does not exist\n  run: lumivault init --shared " +
                                    folder().string() + "\n"));
  EXPECT_EQ(Run({"init", "--shared", folder()}).status, 0);
  EXPECT_EQ(Doctor().out, kAllIsWell);
}

TEST_F(SharedDoctorTest, TablesAndColumnsThatAreMissing) {
  Query("DROP TABLE photo_video_label; ALTER TABLE photo_image DROP COLUMN lens_v2");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  const std::string remedy = "\n  run: lumivault init --shared " + folder().string() + "\n";
  EXPECT_EQ(result.out, "database photo: too old: the column photo_image.lens_v2 is missing" + remedy +
                            "database photo: the table photo_video_label is missing" + remedy);
}

TEST_F(SharedDoctorTest, AMissingKeyThatInitMakes) {
  Query("DROP INDEX photo_access_right_key; INSERT INTO photo_access_right VALUES (7, 1, 'a'), (7, 1, 'b')");
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out,
            "database photo: too old: the key photo_access_right_key is missing\n  run: lumivault init "
            "--shared " +
                folder().string() + "\n");
  EXPECT_EQ(Run({"init", "--shared", folder()}).status, 0);
  EXPECT_EQ(Doctor().out, kAllIsWell);
  EXPECT_EQ(Value("SELECT time FROM photo_access_right"), "a");
}

TEST_F(SharedDoctorTest, AServerThatOnlyReads) {
  Query("ALTER DATABASE photo SET default_transaction_read_only = on");
  const RunResult result = Doctor();
  Query("BEGIN READ WRITE; ALTER DATABASE photo RESET default_transaction_read_only; COMMIT");
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(
      result.out,
      "database photo: the server only reads, as a standby does\n  name the primary server (PGHOST), or "
      "several with target_session_attrs=read-write\n");
}

TEST_F(SharedDoctorTest, ADatabaseOfAnotherEncoding) {
  ASSERT_EQ(std::system("dropdb --force -U postgres photo && "
                        "createdb -U postgres -T template0 -E SQL_ASCII --locale=C photo"),
            0);
  ASSERT_EQ(Run({"init", "--shared", folder()}).status, 0);
  const RunResult result = Doctor();
  ASSERT_EQ(std::system("dropdb --force -U postgres photo && createdb -U postgres photo"), 0);
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(
      result.out,
      "database photo: its encoding is SQL_ASCII, not UTF8\n  make it anew with ENCODING 'UTF8' and load "
      "its rows from a dump\n");
}

TEST_F(SharedDoctorTest, AnotherFolderIsNotTheTree) {
  const RunResult result = Run({"doctor", "--shared", scratch()});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "lumivault: " + scratch().string() + ": the shared tree is " + folder().string() + "\n");
}

TEST_F(SharedDoctorTest, ALinkThatLeadsNowhere) {
  fs::remove_all(folder());
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, folder().string() +
                            ": No such file or directory\n  mount or make it, or remove the link "
                            "var/services/photo in the state folder and choose another with lumivault init "
                            "--shared\n");
}

// Whoever may look at a folder can lock it.
TEST_F(DoctorTest, SaysThatItLooksAtNoLibraryThatIsHeld) {
  const FileDescriptor held(open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  const RunResult result = Doctor();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kAllIsWell + folder().string() +
                            ": held by a run, or locked by somebody else, so what runs have noted was not "
                            "compared\n");
  EXPECT_TRUE(StrictJson(Run({"doctor", folder(), "--json"}).out)["held"].asBool());
}

TEST_F(DoctorTest, SaysNothingOfOneThatIsNotHeld) {
  EXPECT_FALSE(StrictJson(Run({"doctor", folder(), "--json"}).out).isMember("held"));
}

// Which it does by holding it for a moment.
TEST_F(DoctorTest, ThatAsksWhetherALibraryIsHeldFailsNoRunThatBegins) {
  Environment("LD_PRELOAD", FAILING_CALLS);
  Environment("FAIL_CALL", "flock-first");
  const fs::path in_state = fs::directory_iterator(state() / "libraries")->path();
  for (const std::string& held : {std::string("photos"), in_state.filename().string() + "/lock"}) {
    Environment("FAIL_NAME", held);
    Index();
  }
}

}  // namespace
