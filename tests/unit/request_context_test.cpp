#include "lumivault/request_context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "base/limits.h"
#include "base/one_event.h"
#include "lumivault/photo_database.h"
#include "support/failing_memory.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

class RequestContextTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    photos_ = fake().AddPersonalLibrary(dir_.path(), "alice");
    std::memset(&gHGAInformation, 0xA5, sizeof gHGAInformation);
  }

  static FakePlatform& fake() { return FakePlatform::Get(); }
  std::string Fixed(const std::string& path) const { return fake().root + path; }
  std::string settings() const { return Fixed("/var/packages/Lumivault/etc/settings.conf"); }
  std::string user_settings() const { return fake().preference_dirs["alice"] + "/kavoinfo.conf"; }
  std::string database() const { return photos_ + "/.KAVOHGADB"; }
  // The command that makes the database; every program succeeds.
  std::string SchemaCommand() {
    fs::remove(database());
    fake().programs = {{"", {0, ""}}};
    std::string command;
    fake().on_program = [&](const std::string& line) { command = line; };
    EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
    return command;
  }

  TempDir dir_;
  std::string photos_;
};

bool IsAllZero(const HGA_INFORMATION& context) {
  const HGA_INFORMATION zero{};
  return std::memcmp(&context, &zero, sizeof zero) == 0;
}

// How often the personal switch was looked up: once for each check that was made.
constexpr const char* kOneCheck = "KAVOIndexPersonalPhotoPathGet";

TEST_F(RequestContextTest, OutsideOfAnEventEveryCheckAsksAnew) {
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  fake().key_values[settings()]["runpersonallumivault"] = "no";
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
}

TEST_F(RequestContextTest, AnEventAsksOnceForAPathInARow) {
  const std::string file = photos_ + "/a.jpg";
  const OneEvent event;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(HGAStatusCheck(file.c_str()), 0);
  EXPECT_EQ(fake().Count(kOneCheck), 1);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
  EXPECT_EQ(HGAStatusCheck(file.c_str()), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
  EXPECT_EQ(fake().Count(kOneCheck), 3);
}

TEST_F(RequestContextTest, AnEventWithinAnEventBelongsToIt) {
  const OneEvent event;
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  {
    const OneEvent inner;
    EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  }
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(fake().Count(kOneCheck), 1);
}

TEST_F(RequestContextTest, AnEventIsItsThreadsAlone) {
  const OneEvent event;
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  std::thread([&] { EXPECT_EQ(HGAStatusCheck((photos_ + "/a.jpg").c_str()), 0); }).join();
  std::thread([&] { EXPECT_EQ(HGAStatusCheck((photos_ + "/a.jpg").c_str()), 0); }).join();
  EXPECT_EQ(fake().Count(kOneCheck), 3);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0) << "the context is another thread's path's";
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
}

TEST_F(RequestContextTest, APathThatCannotBeNotedIsAskedAbout) {
  const std::string file = photos_ + "/" + std::string(kPathSize, 'x');
  const OneEvent event;
  const int answer = HGAStatusCheck(file.c_str());
  EXPECT_EQ(HGAStatusCheck(file.c_str()), answer);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
}

TEST_F(RequestContextTest, TheNextEventNoticesAChangedSetting) {
  {
    const OneEvent event;
    EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  }
  fake().key_values[settings()]["runpersonallumivault"] = "no";
  const OneEvent event;
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
}

TEST_F(RequestContextTest, ARefusalIsNotRemembered) {
  const OneEvent event;
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusCheck("user:"), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(HGAStatusCheck("user:"), -1);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
}

TEST_F(RequestContextTest, RecordHasItsFixedLayout) {
  EXPECT_EQ(offsetof(HGA_INFORMATION, szUserName), 8U);
  EXPECT_EQ(offsetof(HGA_INFORMATION, szPhotoDir), 500U);
  EXPECT_EQ(offsetof(HGA_INFORMATION, szDBPath), 4595U);
  EXPECT_EQ(offsetof(HGA_INFORMATION, szRequestPath), 8690U);
  EXPECT_EQ(offsetof(HGA_INFORMATION, userPhotoPathLen), 12788U);
  EXPECT_EQ(sizeof(HGA_INFORMATION), 12792U);
}

TEST_F(RequestContextTest, NullPathFailsAndLeavesTheRecord) {
  EXPECT_EQ(HGAStatusCheck(nullptr), -1);
  EXPECT_EQ(static_cast<unsigned char>(gHGAInformation.szPhotoDir[0]), 0xA5);
  EXPECT_TRUE(fake().calls.empty());
}

TEST_F(RequestContextTest, PathThatCannotBeCopiedIsLoggedAndLeavesTheRecord) {
  constexpr std::size_t kLength = 1234;
  const std::string path = "/" + std::string(kLength - 1, 'x');
  memory_is_short = [](std::size_t size) { return size == kLength + 1; };
  const int result = HGAStatusCheck(path.c_str());
  memory_is_short = nullptr;
  EXPECT_EQ(result, -1);
  EXPECT_EQ(static_cast<unsigned char>(gHGAInformation.szPhotoDir[0]), 0xA5);
  EXPECT_THAT(SyslogCapture::Messages(), testing::ElementsAre("personalphoto.cpp:# strdup failed."));
}

TEST_F(RequestContextTest, SharedPathLeavesEveryFieldZero) {
  EXPECT_EQ(HGAStatusCheck("/volume1/photo/a.jpg"), 0);
  EXPECT_TRUE(IsAllZero(gHGAInformation));
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
  EXPECT_STREQ(HGAStatusUserNameGet(), "");
  EXPECT_STREQ(HGAStatusPhotoDirGet(), "");
  EXPECT_STREQ(HGAStatusDBPathGet(), "");
  EXPECT_STREQ(HGAStatusRequestPathGet(), "");
  EXPECT_EQ(HGAStatusUserPhotoPathLenGet(), 0);
}

TEST_F(RequestContextTest, SharedPathAsksForNoSetting) {
  EXPECT_EQ(HGAStatusCheck("/volume1/photo/a.jpg"), 0);
  EXPECT_THAT(fake().calls,
              testing::ElementsAre("KAVOIndexIsPersonalPackagePath(/volume1/photo/a.jpg, photo, 492)"));
}

TEST_F(RequestContextTest, PersonalPathFillsTheRecord) {
  const std::string file = photos_ + "/2024/a.jpg";
  EXPECT_EQ(HGAStatusCheck(file.c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
  EXPECT_EQ(HGAStatusPhotoDirGet(), photos_);
  EXPECT_EQ(HGAStatusDBPathGet(), database());
  EXPECT_EQ(HGAStatusRequestPathGet(), file);
  EXPECT_EQ(HGAStatusUserPhotoPathLenGet(), static_cast<int>(photos_.size()));
}

TEST_F(RequestContextTest, PhotoFolderItselfIsTheRoot) {
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
}

TEST_F(RequestContextTest, PhotoFolderWithATrailingSlashIsNotTheRoot) {
  EXPECT_EQ(HGAStatusCheck((photos_ + "/").c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
}

TEST_F(RequestContextTest, PhotoFolderInAnotherLetterCaseIsNotTheRoot) {
  std::string other = photos_;
  other.back() = 'O';
  EXPECT_EQ(HGAStatusCheck(("user:alice:" + other).c_str()), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
}

TEST_F(RequestContextTest, UserFormWithoutANameFails) {
  EXPECT_EQ(HGAStatusCheck("user:"), -1);
  EXPECT_TRUE(IsAllZero(gHGAInformation));
}

TEST_F(RequestContextTest, UserFormWithANameAloneIsTheRoot) {
  EXPECT_EQ(HGAStatusCheck("user:alice"), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
  EXPECT_STREQ(HGAStatusRequestPathGet(), "");
  EXPECT_EQ(fake().Count("KAVOIndexIsPersonalPackagePath"), 0);
}

TEST_F(RequestContextTest, UserFormWithAnEmptyPathIsTheRoot) {
  EXPECT_EQ(HGAStatusCheck("user:alice:"), 0);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
  EXPECT_STREQ(HGAStatusRequestPathGet(), "");
}

TEST_F(RequestContextTest, UserFormWithAPathIsCutAtItsFirstColon) {
  EXPECT_EQ(HGAStatusCheck("user:alice:/home/alice/photo/12:30.jpg"), 0);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
  EXPECT_STREQ(HGAStatusRequestPathGet(), "/home/alice/photo/12:30.jpg");
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
}

TEST_F(RequestContextTest, UserFormWithThePhotoFolderIsTheRoot) {
  EXPECT_EQ(HGAStatusCheck(("user:alice:" + photos_).c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 1);
  EXPECT_EQ(HGAStatusRequestPathGet(), photos_);
}

TEST_F(RequestContextTest, UserFormWithAnEmptyNameAndAPathIsThatOfNobody) {
  EXPECT_EQ(HGAStatusCheck("user::/x"), -1);
  EXPECT_STREQ(HGAStatusUserNameGet(), "");
  EXPECT_STREQ(HGAStatusRequestPathGet(), "/x");
  EXPECT_EQ(fake().Count("KAVOUserPreferenceDirGet"), 1);
}

TEST_F(RequestContextTest, UnknownUserFails) {
  EXPECT_EQ(HGAStatusCheck("user:bob"), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_STREQ(HGAStatusUserNameGet(), "bob");
}

TEST_F(RequestContextTest, PathMayBeATextOfTheRecordItself) {
  const std::string file = photos_ + "/a.jpg";
  ASSERT_EQ(HGAStatusCheck(file.c_str()), 0);
  EXPECT_EQ(HGAStatusCheck(HGAStatusRequestPathGet()), 0);
  EXPECT_EQ(HGAStatusRequestPathGet(), file);
}

TEST_F(RequestContextTest, LongUserNameIsCutTo491Bytes) {
  EXPECT_EQ(HGAStatusCheck(("user:" + std::string(600, 'u') + ":/a").c_str()), -1);
  EXPECT_EQ(HGAStatusUserNameGet(), std::string(491, 'u'));
  EXPECT_STREQ(HGAStatusRequestPathGet(), "/a");
}

TEST_F(RequestContextTest, LongRequestPathIsCutTo4094Bytes) {
  const std::string file = photos_ + "/" + std::string(5000, 'x');
  EXPECT_EQ(HGAStatusCheck(file.c_str()), 0);
  EXPECT_EQ(HGAStatusRequestPathGet(), file.substr(0, 4094));
}

TEST_F(RequestContextTest, FoldersAreAskedForWithTheirCapacity) {
  EXPECT_EQ(HGAStatusCheck("user:alice"), 0);
  EXPECT_EQ(fake().Count("KAVOUserPreferenceDirGet(alice, 4095)"), 1);
  EXPECT_EQ(fake().Count("KAVOIndexPersonalPhotoPathGet(alice, 4095)"), 1);
}

TEST_F(RequestContextTest, LongDatabasePathIsCutTo4094Bytes) {
  const std::string folder = "/" + std::string(4085, 'f');
  fake().personal_folders["alice"] = folder;
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(HGAStatusPhotoDirGet(), folder);
  EXPECT_EQ(HGAStatusDBPathGet(), folder + "/.KAVOHG");
}

TEST_F(RequestContextTest, LongSettingsPathIsCutTo4094Bytes) {
  const std::string folder = "/" + std::string(4085, 'f');
  fake().preference_dirs["alice"] = folder;
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(fake().Count("RLIBCFileExist(" + folder + "/kavoinf)"), 1);
}

TEST_F(RequestContextTest, WhatIsThrownOnTheWayIsAFailure) {
  fs::remove(database());
  fake().on_program = [](const std::string& /*command*/) { throw std::runtime_error("no room"); };
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_THAT(SyslogCapture::Messages(),
              testing::ElementsAre("personalphoto.cpp:# Unexpected error: no room"));
}

// --- The switches. Each is asked again at every check, and none of their failures is logged.

class RequestSwitchTest : public RequestContextTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(HGAStatusCheck((photos_ + "/a.jpg").c_str()), -1);
    EXPECT_EQ(HGAStatusIsHGARequest(), 0);
    EXPECT_TRUE(SyslogCapture::Lines().empty());
  }
};

TEST_F(RequestSwitchTest, PackageMarkerAbsent) {
  fs::remove(Fixed("/var/packages/Lumivault/enabled"));
}
TEST_F(RequestSwitchTest, PackageSettingNotYes) {
  fake().key_values[settings()]["runpersonallumivault"] = "no";
}
TEST_F(RequestSwitchTest, PackageSettingAbsent) {
  fake().key_values.erase(settings());
}
TEST_F(RequestSwitchTest, UserSettingNotYes) {
  fake().key_values[user_settings()]["runpersonallumivault"] = "Yes";
}
TEST_F(RequestSwitchTest, UserSettingsFileAbsent) {
  fs::remove(user_settings());
}
TEST_F(RequestSwitchTest, PreferenceFolderUnknown) {
  fake().failing.insert("KAVOUserPreferenceDirGet");
}
TEST_F(RequestSwitchTest, PhotoFolderUnknown) {
  fake().failing.insert("KAVOIndexPersonalPhotoPathGet");
}
TEST_F(RequestSwitchTest, PhotoFolderMissing) {
  fs::remove_all(photos_);
}
TEST_F(RequestSwitchTest, PhotoFolderIsAFile) {
  fs::remove_all(photos_);
  WriteFile(photos_, "");
}
TEST_F(RequestSwitchTest, TurnedOffAfterASuccess) {
  ASSERT_EQ(HGAStatusCheck((photos_ + "/a.jpg").c_str()), 0);
  fake().key_values[settings()]["runpersonallumivault"] = "no";
}

TEST_F(RequestContextTest, SwitchesAreAskedInTheirOrder) {
  EXPECT_EQ(HGAStatusCheck("user:alice"), 0);
  const std::string is_on = ", runpersonallumivault, yes, 0)";
  EXPECT_THAT(
      fake().calls,
      testing::ElementsAre(
          "KAVOFixedPathGet(/var/packages/Lumivault/enabled)",
          "KAVOFixedPathGet(/var/packages/Lumivault/etc/settings.conf)",
          "RLIBCFileCheckKeyValue(" + settings() + is_on, "KAVOUserPreferenceDirGet(alice, 4095)",
          "RLIBCFileExist(" + user_settings() + ")", "RLIBCFileCheckKeyValue(" + user_settings() + is_on,
          "KAVOIndexPersonalPhotoPathGet(alice, 4095)", "RLIBCFileCheckDir(" + photos_ + ")"));
}

TEST_F(RequestContextTest, FirstSwitchThatIsOffEndsTheCheck) {
  fake().failing = {"KAVOIndexPersonalPhotoPathGet"};
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(fake().Count("RLIBCFileCheckDir"), 0);
  fs::remove(user_settings());
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(fake().Count("KAVOIndexPersonalPhotoPathGet"), 1);
  fake().key_values.erase(settings());
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(fake().Count("KAVOUserPreferenceDirGet"), 2);
  fs::remove(Fixed("/var/packages/Lumivault/enabled"));
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(fake().Count("RLIBCFileCheckKeyValue(" + settings()), 3);
}

TEST_F(RequestContextTest, FailureKeepsWhatWasFilledBefore) {
  fs::remove_all(photos_);
  EXPECT_EQ(HGAStatusCheck(("user:alice:" + photos_).c_str()), -1);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
  EXPECT_EQ(HGAStatusRequestPathGet(), photos_);
  EXPECT_EQ(HGAStatusIsUserPhotoRoot(), 0);
}

// --- The database of a first use.

TEST_F(RequestContextTest, ExistingDatabaseRunsNoProgram) {
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(fake().Count("RLIBCExec"), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
}

TEST_F(RequestContextTest, FirstUseMakesTheDatabaseOnce) {
  fs::remove(database());
  fake().programs = {{"/bin/sh -c", {0, ""}}};
  fake().on_program = [&](const std::string& /*command*/) { WriteFile(database(), ""); };
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(fake().Count("RLIBCExec"), 1);
  EXPECT_EQ(fake().Count("KAVOBeneathMode(" + photos_ + ", " + database() + ", 0777)"), 1);
  struct stat status;
  ASSERT_EQ(stat(database().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0777U);
}

TEST_F(RequestContextTest, SchemaCommandFeedsTheScriptToTheTool) {
  EXPECT_EQ(SchemaCommand(), "/bin/sh -c " + Fixed("/usr/kavo/bin/sqlite3") + " \"" + database() + "\" < " +
                                 Fixed("/var/packages/Lumivault/target/photo_scripts/sql/pphoto.sql"));
}

TEST_F(RequestContextTest, SchemaCommandThatCannotRunFails) {
  fs::remove(database());
  fake().programs = {{"/bin/sh -c", {-1, ""}}};
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
  EXPECT_TRUE(SyslogCapture::Lines().empty());
}

TEST_F(RequestContextTest, ExitStatusOfTheToolIsNotExamined) {
  fs::remove(database());
  fake().programs = {{"/bin/sh -c", {127, ""}}};
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
}

TEST_F(RequestContextTest, DatabaseThatIsALinkToNowhereIsNotMade) {
  fs::remove(database());
  fs::create_symlink(dir_ / "elsewhere", database());
  fake().programs = {{"/bin/sh -c", {0, ""}}};
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  EXPECT_EQ(fake().Count("RLIBCExec"), 0);
}

TEST_F(RequestContextTest, DatabaseThatIsALinkToAnotherOneIsNotUsed) {
  WriteFile(dir_ / "homes/bob/photo/.KAVOHGADB", "");
  fs::remove(database());
  fs::create_symlink(dir_ / "homes/bob/photo/.KAVOHGADB", database());
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(fake().Count("RLIBCExec"), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
  EXPECT_EQ(PhotoInfoDBLabelCheck(photos_.c_str(), "sea", 2), -1);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(RequestContextTest, DatabaseThatIsNoRegularFileIsNotUsed) {
  fs::remove(database());
  fs::create_directory(database());
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  fs::remove(database());
  ASSERT_EQ(mkfifo(database().c_str(), 0600), 0);
  EXPECT_EQ(HGAStatusCheck(photos_.c_str()), -1);
  EXPECT_EQ(fake().Count("RLIBCExec"), 0);
}

TEST_F(RequestContextTest, PhotoFolderMayBeReachedThroughALink) {
  fs::create_directory_symlink(photos_, dir_ / "linked");
  fake().personal_folders["alice"] = dir_ / "linked";
  EXPECT_EQ(HGAStatusCheck((dir_ / "linked/a.jpg").c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
}

// A library below FOLDER, whose name goes through a real shell.
class SchemaShellTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override { FakePlatform::Reset(); }
  TempDir dir_;
};

TEST_P(SchemaShellTest, FolderNameIsNeverACommand) {
  FakePlatform& fake = FakePlatform::Get();
  const std::string base = dir_ / GetParam();
  const std::string photos = fake.AddPersonalLibrary(base, "alice");
  ASSERT_TRUE(fs::is_directory(photos));
  fs::remove(photos + "/.KAVOHGADB");
  // What an injected command makes; the names have no room for a path.
  setenv("HIT", (dir_ / "hit").c_str(), 1);
  // A tool that copies what it reads into the file it is given.
  WriteFile(fake.root + "/usr/kavo/bin/sqlite3", "#!/bin/sh\ncat > \"$1\"\n");
  fs::permissions(fake.root + "/usr/kavo/bin/sqlite3", fs::perms::owner_all);
  WriteFile(fake.root + "/var/packages/Lumivault/target/photo_scripts/sql/pphoto.sql", "the schema");
  fake.programs = {{"", {0, ""}}};
  fake.on_program = [](const std::string& line) {
    ASSERT_EQ(system(line.substr(std::strlen("/bin/sh -c ")).c_str()), 0);  // NOLINT(cert-env33-c)
  };
  EXPECT_EQ(HGAStatusCheck(photos.c_str()), 0);
  EXPECT_EQ(ReadFile(photos + "/.KAVOHGADB"), "the schema");
  EXPECT_FALSE(fs::exists(dir_ / "hit"));
}

INSTANTIATE_TEST_SUITE_P(Names, SchemaShellTest,
                         testing::Values("plain", "with blank", "a\"; touch \"$HIT\"; \"b",
                                         "`touch \"$HIT\"`", "$(touch \"$HIT\")", "$HOME", "`id`", "$(id)",
                                         "back\\slash", "end\\", "it's", "a;b&c|d", "line\nbreak", "*?[x]",
                                         "(x)<y>", "!history", "~"));

TEST_F(RequestContextTest, SchemaCommandThatDoesNotFitIsNotRun) {
  // Every '$' takes two bytes of the command, so a folder that exists can be too long for it.
  fs::path folder = dir_.path();
  for (int i = 0; i < 15; ++i) folder /= std::string(250, '$');
  fs::current_path(dir_.path());
  for (int i = 0; i < 15; ++i) {
    fs::create_directory(std::string(250, '$'));
    fs::current_path(std::string(250, '$'));
  }
  fs::current_path("/");
  ASSERT_TRUE(fs::is_directory(folder));
  fake().personal_folders["alice"] = folder;
  fake().programs = {{"", {0, ""}}};
  EXPECT_EQ(HGAStatusCheck("user:alice"), -1);
  EXPECT_EQ(HGAStatusDBPathGet(), (folder / ".KAVOHGADB").string());
  EXPECT_EQ(fake().Count("RLIBCExec"), 0);
}

}  // namespace
