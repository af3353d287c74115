#include "library/state_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <optional>

#include "base/read_timeout.h"
#include "commands/opened_library.h"
#include "common/stop_signals.h"
#include "library/library.h"
#include "service/state_root_fixture.h"
#include "support/child_processes.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr const char* kSettings = "/var/packages/Lumivault/etc/settings.conf";
constexpr const char* kSchema = "/var/packages/Lumivault/target/photo_scripts/sql/pphoto.sql";
constexpr const char* kPersonal = "/etc/kavo/personal.conf";

TEST_F(StateRootTest, TheNamedFolderComesFirst) {
  EXPECT_EQ(StateRoot::Locate("/some/where")->path(), "/some/where");
  EXPECT_STREQ(getenv("LUMIVAULT_ROOT"), "/some/where");
}

TEST_F(StateRootTest, APathThatIsTooLongIsRefused) {
  std::string path;
  while (path.size() <= 3072) path += "/" + std::string(200, 'x');
  const auto refused = StateRoot::Locate(path);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.failure().status, ExitStatus::kConfiguration);
  EXPECT_EQ(refused.failure().message, path + ": the path is too long for a state folder");
}

TEST_F(StateRootTest, ThenTheStateFolderOfTheDesktopThenTheHomeFolder) {
  setenv("XDG_STATE_HOME", "/x/state", 1);
  EXPECT_EQ(StateRoot::Locate("")->path(), "/x/state/lumivault");
  setenv("XDG_STATE_HOME", "relative", 1);
  setenv("HOME", "/home/me", 1);
  EXPECT_EQ(StateRoot::Locate("")->path(), "/home/me/.local/state/lumivault");
  unsetenv("XDG_STATE_HOME");
  EXPECT_EQ(StateRoot::Locate("")->path(), "/home/me/.local/state/lumivault");
}

TEST_F(StateRootTest, ARelativeFolderIsMadeAbsolute) {
  fs::current_path(dir_path());
  EXPECT_EQ(StateRoot::Locate("here")->path(), (fs::current_path() / "here").string());
}

TEST_F(StateRootTest, LocatingMakesNothing) {
  ASSERT_TRUE(StateRoot::Locate(root_path()));
  EXPECT_FALSE(fs::exists(root_path()));
}

TEST_F(StateRootTest, FirstUseMakesTheApplianceTree) {
  Prepared();
  EXPECT_TRUE(fs::exists(root_path() / "var/packages/Lumivault/enabled"));
  EXPECT_EQ(Content(kSettings), "runpersonallumivault=\"yes\"\nalbumdefpublic=\"no\"\nfile_modes=\"keep\"\n");
  EXPECT_NE(Content(kSchema).find("CREATE TABLE"), std::string::npos);
  EXPECT_FALSE(fs::exists(fs::symlink_status(root_path() / "usr/kavo/bin/sqlite3")));
}

TEST_F(StateRootTest, NobodyElseMayLookIntoIt) {
  umask(0);
  Prepared();
  umask(022);
  for (const auto& entry : fs::recursive_directory_iterator(root_path())) {
    EXPECT_EQ(ModeOf(entry.path()) & 077U, entry.is_symlink() ? ModeOf(entry.path()) & 077U : 0U)
        << entry.path();
  }
  EXPECT_EQ(ModeOf(root_path()), 0700U);
}

TEST_F(StateRootTest, OthersMayPassTheFoldersAboveItAndNoMore) {
  umask(0);
  const auto prepared = StateRoot::Locate(dir_path() / "above/deep/state")->Prepare();
  umask(022);
  ASSERT_TRUE(prepared) << prepared.failure().message;
  EXPECT_EQ(ModeOf(dir_path() / "above"), 0755U);
  EXPECT_EQ(ModeOf(dir_path() / "above/deep"), 0755U);
  EXPECT_EQ(ModeOf(dir_path() / "above/deep/state"), 0700U);
}

// There was nothing to be looked at when the folder was located.
TEST_F(StateRootTest, OneThatOthersMadeMeanwhileIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give folders to others";
  const auto root = StateRoot::Locate(dir_path() / "above/state");
  ASSERT_TRUE(root);
  fs::create_directory(dir_path() / "above");
  ASSERT_EQ(chown((dir_path() / "above").c_str(), 20'001, 20'001), 0);
  const auto prepared = root->Prepare();
  ASSERT_FALSE(prepared);
  EXPECT_EQ(prepared.failure().status, ExitStatus::kConfiguration);
}

TEST_F(StateRootTest, PreparingAgainTouchesNothing) {
  Prepared();
  const auto settings_time = fs::last_write_time(root_path().string() + kSettings);
  const auto schema_time = fs::last_write_time(root_path().string() + kSchema);
  LetTheClockMoveOn();
  Prepared();
  EXPECT_EQ(fs::last_write_time(root_path().string() + kSettings), settings_time);
  EXPECT_EQ(fs::last_write_time(root_path().string() + kSchema), schema_time);
}

TEST_F(StateRootTest, WhatPeopleSetStaysAndWhatIsMissingIsAdded) {
  Prepared();
  WriteFile(root_path().string() + kSettings, "# mine\nrunpersonallumivault=yes\nrunfacerecognition=no");
  Prepared();
  EXPECT_EQ(Content(kSettings),
            "# mine\nrunpersonallumivault=yes\nrunfacerecognition=no\nalbumdefpublic=\"no\"\n"
            "file_modes=\"keep\"\n");
}

TEST_F(StateRootTest, APersonalEditionThatIsSwitchedOffIsABadConfiguration) {
  Prepared();
  WriteFile(root_path().string() + kSettings, "runpersonallumivault=no\nfile_modes=keep\n");
  const auto prepared = StateRoot::Locate(root_path())->Prepare();
  ASSERT_FALSE(prepared);
  EXPECT_EQ(prepared.failure().status, ExitStatus::kConfiguration);
}

TEST_F(StateRootTest, AnOldSchemaIsRefreshed) {
  Prepared();
  WriteFile(root_path().string() + kSchema, "-- old");
  Prepared();
  EXPECT_NE(Content(kSchema).find("CREATE TABLE"), std::string::npos);
}

// Of an earlier version.
TEST_F(StateRootTest, ALinkToTheDatabaseToolGoes) {
  Prepared();
  const fs::path tool = root_path() / "usr/kavo/bin/sqlite3";
  fs::create_symlink("/bin/true", tool);
  Prepared();
  EXPECT_FALSE(fs::exists(fs::symlink_status(tool)));
  WriteFile(tool, "somebody's own");
  Prepared();
  EXPECT_TRUE(fs::exists(tool));
}

TEST_F(StateRootTest, AFileInItsPlaceIsABadConfiguration) {
  WriteFile(root_path(), "x");
  const auto root = StateRoot::Locate(root_path());
  ASSERT_FALSE(root);
  EXPECT_EQ(root.failure().status, ExitStatus::kConfiguration);
  EXPECT_EQ(root.failure().message, root_path().string() + ": is not a folder");
}

// Somebody may have stopped whoever holds it.
// It is the home's, as a rule, and people named something else.
TEST_F(StateRootTest, OneThatCannotBeMadeIsNamedWithTheRemedy) {
  const std::string file = dir_path() / "file";
  WriteFile(file, "");
  for (const std::string& state : {file + "/state", file + "/deep/state"}) {
    const auto root = StateRoot::Locate(state);
    ASSERT_TRUE(root);
    const auto prepared = root->Prepare();
    ASSERT_FALSE(prepared);
    EXPECT_EQ(prepared.failure().status, ExitStatus::kConfiguration);
    EXPECT_EQ(prepared.failure().message, "the state folder " + state + " cannot be made: " + file +
                                              ": File exists; name another with --root");
  }
}

TEST_F(StateRootTest, OneThatIsHeldForLongIsWaitedForATime) {
  const StateRoot root = Prepared();
  const auto held = root.Lock();
  ASSERT_TRUE(held);
  const auto begin = std::chrono::steady_clock::now();
  const auto refused = root.Lock();
  const auto waited = std::chrono::steady_clock::now() - begin;
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.failure().status, ExitStatus::kLibraryBusy);
  EXPECT_EQ(refused.failure().message, root_path().string() + ": another run holds the state folder");
  EXPECT_GE(waited, 10s);
  EXPECT_LT(waited, 20s);
}

TEST_F(StateRootTest, NobodyHasToWaitForItSoLong) {
  const StateRoot root = Prepared();
  const auto held = root.Lock();
  ASSERT_TRUE(held);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(root.Lock(50ms));
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited, 50ms);
  EXPECT_LT(waited, 5s);
}

TEST_F(StateRootTest, ASignalEndsTheWaitForIt) {
  const StateRoot root = Prepared();
  std::optional held = root.Lock();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    const int status = WaitFor(StartChild([&] {
      signal(number, SIG_DFL);
      StopSignals signals;
      raise(number);
      held.reset();  // the parent has it still
      const auto refused = root.Lock();
      signals.Take();
      const bool told = !refused && refused.failure().message ==
                                        root_path().string() + ": stopped while waiting for the state folder";
      return told ? static_cast<int>(refused.failure().status) : 0;
    }));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), kSignalExitBase + number);
  }
}

// The lock is one that nobody had to be waited for.
TEST_F(StateRootTest, ASignalIsNoReasonNotToTakeIt) {
  const StateRoot root = Prepared();
  const int status = WaitFor(StartChild([&] {
    StopSignals signals;
    raise(SIGTERM);
    const bool taken = static_cast<bool>(root.Lock());
    signals.Take();
    return taken ? 0 : 1;
  }));
  EXPECT_EQ(status, 0);
}

// Half a minute.
TEST_F(StateRootTest, AQuestionHasALimitUnlessAnotherIsSet) {
  const StateRoot root = Prepared();
  const fs::path photos = Photos("photos");
  ASSERT_TRUE(MakeLibrary(root, photos));
  unsetenv(kReadTimeout);
  EXPECT_FALSE(OpenLibraryAround(root_path(), photos)) << "nothing is indexed";
  EXPECT_STREQ(getenv(kReadTimeout), "30000");
  setenv(kReadTimeout, "5", 1);
  EXPECT_FALSE(OpenLibraryAround(root_path(), photos));
  EXPECT_STREQ(getenv(kReadTimeout), "5");
  unsetenv(kReadTimeout);
}

TEST_F(StateRootTest, ManyProcessesMayMakeItAndTheirLibrariesAtOnce) {
  constexpr int kProcesses = 12;
  for (int i = 0; i < kProcesses; ++i) Photos("p" + std::to_string(i));
  ASSERT_TRUE(RunChildren(kProcesses, [&](int number) {
    const StateRoot root = Prepared();
    return MakeLibrary(root, dir_.path() / ("p" + std::to_string(number))) && !HasFailure() ? 0 : 1;
  }));
  Prepared();
  for (int i = 0; i < kProcesses; ++i) {
    const auto library = FindLibrary((dir_.path() / ("p" + std::to_string(i)) / "a.jpg").string());
    ASSERT_TRUE(library) << i;
    EXPECT_EQ(library->folder, dir_.path() / ("p" + std::to_string(i)));
  }
}

class LibraryFolderTest : public StateRootTest {
 protected:
  void SetUp() override { root_.emplace(Prepared()); }
  Outcome<Library> Make(const fs::path& folder) { return MakeLibrary(*root_, folder); }
  // The reason without the folder.
  std::string Refusal(const fs::path& folder) {
    const auto library = Make(folder);
    if (library) return "";
    EXPECT_EQ(library.failure().status, ExitStatus::kUsage);
    const std::string& message = library.failure().message;
    return message.substr(message.find(": ") + 2);
  }

  std::optional<StateRoot> root_;
};

TEST_F(LibraryFolderTest, ItsUserIsNamedAfterTheFolder) {
  const auto library = Make(Photos("My Photos (2024)"));
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->user.starts_with("My_Photos__2024_-")) << library->user;
  EXPECT_EQ(library->database(), library->folder + "/.KAVOHGADB");
}

TEST_F(LibraryFolderTest, TwoFoldersOfOneNameAreTwoLibraries) {
  EXPECT_NE(Make(Photos("a/photos"))->user, Make(Photos("b/photos"))->user);
}

TEST_F(LibraryFolderTest, TheSameFolderIsTheSameLibraryUnderAnyName) {
  const fs::path folder = Photos("photos");
  fs::create_directory_symlink(folder, dir_.path() / "link");
  const auto first = Make(folder);
  const std::string personal = Content(kPersonal);
  EXPECT_EQ(Make(folder / ".")->user, first->user);
  EXPECT_EQ(Make(dir_.path() / "link")->folder, folder);
  EXPECT_EQ(Content(kPersonal), personal);
}

TEST_F(LibraryFolderTest, UnusualPathsAreFoundAgain) {
  for (const char* name : {"a=b", " lead", "trail ", "#hash", "quote\"s", "it's", "\"both\"", "tab\tin",
                           "100%", "\xff", "h\xc3\xa9", "back\\slash", "-rf"}) {
    const fs::path folder = Photos(name);
    ASSERT_TRUE(Make(folder)) << name;
    const auto found = FindLibrary((folder / "a.jpg").string());
    ASSERT_TRUE(found) << name;
    EXPECT_EQ(found->folder, folder.string()) << name;
  }
}

TEST_F(LibraryFolderTest, APathThatTheConfigurationCannotHoldIsRefused) {
  EXPECT_EQ(Refusal(Photos("a\nb")), "a library's path cannot hold a line end");
}

TEST_F(LibraryFolderTest, WhatIsNoFolderIsRefused) {
  EXPECT_EQ(Refusal(dir_.path() / "missing"), "No such file or directory");
  WriteFile(dir_.path() / "file", "x");
  EXPECT_EQ(Refusal(dir_.path() / "file"), "not a folder");
  EXPECT_EQ(Refusal("/"), "the root of the file system cannot be a library");
}

TEST_F(LibraryFolderTest, LibrariesDoNotOverlap) {
  const fs::path folder = Photos("photos/holidays");
  ASSERT_TRUE(Make(folder));
  WriteFile(folder / ".KAVOHGADB", "");
  const std::string reason =
      "lies in or around the library " + folder.string() + "; to give that one up, delete its .KAVOHGADB";
  EXPECT_EQ(Refusal(Photos("photos/holidays/2024")), reason);
  EXPECT_EQ(Refusal(Photos("photos")), reason);
  EXPECT_TRUE(Make(Photos("photos/holidays2")));
}

TEST_F(LibraryFolderTest, ALibraryThatIsGoneIsInNobodysWay) {
  ASSERT_TRUE(Make(Photos("photos/old")));
  fs::remove_all(dir_.path() / "photos/old");
  EXPECT_TRUE(Make(Photos("photos")));
}

TEST_F(LibraryFolderTest, ALibraryThatWasGivenUpIsForgottenByTheOneAroundIt) {
  const fs::path old = Photos("photos/old");
  ASSERT_TRUE(Make(old));
  ASSERT_TRUE(Make(Photos("elsewhere")));
  ASSERT_TRUE(Make(Photos("photos")));
  EXPECT_EQ(FindLibrary((old / "a.jpg").string())->folder, (dir_path() / "photos").string());
  EXPECT_TRUE(FindLibrary((dir_path() / "elsewhere/a.jpg").string()));
}

TEST_F(LibraryFolderTest, ALibraryWhoseFirstRunIsUnderWayIsInTheWay) {
  const auto library = Make(Photos("photos/new"));
  const auto lock = LibraryLock::Take(*root_, *library);
  ASSERT_TRUE(lock);
  EXPECT_EQ(Refusal(Photos("photos")), "lies in or around the library " +
                                           (dir_path() / "photos/new").string() +
                                           "; to give that one up, delete its .KAVOHGADB");
}

TEST_F(LibraryFolderTest, APathBeyondTheDatabasesLimitIsRefused) {
  const std::size_t left = 490 - dir_path().string().size() - 1;
  const std::string half(left / 2, 'a');
  const std::string fits = half + "/" + std::string(left - half.size() - 1, 'b');
  EXPECT_EQ(Refusal(Photos(fits)), "");
  EXPECT_EQ(Refusal(Photos(fits + "b")), "the path is too long for a library: 491 bytes, at most 490");
}

TEST_F(LibraryFolderTest, OneRunAtATimeHoldsALibrary) {
  const auto library = Make(Photos("photos"));
  std::optional lock = LibraryLock::Take(*root_, *library);
  ASSERT_TRUE(*lock);
  const auto second = LibraryLock::Take(*root_, *library);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.failure().status, ExitStatus::kLibraryBusy);
  lock.reset();
  EXPECT_TRUE(LibraryLock::Take(*root_, *library));
}

TEST_F(LibraryFolderTest, ALockKnowsWhetherItsFolderIsStillThere) {
  const fs::path photos = Photos("photos");
  const auto library = Make(photos);
  const auto lock = LibraryLock::Take(*root_, *library);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(lock->FolderIsThere(*library));
  fs::rename(photos, dir_path() / "away");
  EXPECT_FALSE(lock->FolderIsThere(*library));
  fs::create_directory(photos);
  EXPECT_FALSE(lock->FolderIsThere(*library));
}

// It tells of all libraries; written anew it would tell of this one alone.
TEST_F(LibraryFolderTest, AListThatCannotBeReadIsNotReplaced) {
  ASSERT_TRUE(Make(Photos("photos")));
  const std::string list = root_->Place("/etc/kavo/personal.conf");
  fs::rename(list, list + ".kept");
  fs::create_directory(list);
  const auto refused = Make(Photos("more"));
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.failure().status, ExitStatus::kConfiguration);
  EXPECT_EQ(refused.failure().message, list + ": Is a directory");
  EXPECT_TRUE(fs::is_directory(list));
}

TEST_F(LibraryFolderTest, NobodyKnowsWhoseAPathIsWhileTheListCannotBeRead) {
  const fs::path photos = Photos("photos");
  ASSERT_TRUE(Make(photos));
  WriteFile(photos / ".KAVOHGADB", "");
  EXPECT_TRUE(OwnerIsKnown(photos));
  EXPECT_TRUE(OwnerIsKnown("/elsewhere"));
  const std::string list = root_->Place("/etc/kavo/personal.conf");
  fs::remove(list);
  fs::create_directory(list);
  EXPECT_FALSE(FindLibrary(photos));
  EXPECT_FALSE(OwnerIsKnown(photos));
  const Failure failure = InNoLibrary(photos, ExitStatus::kFatal);
  EXPECT_EQ(failure.status, ExitStatus::kConfiguration);
  EXPECT_THAT(failure.message, testing::HasSubstr("it cannot be told in whose library this lies"));
}

TEST_F(LibraryFolderTest, APathOutsideBelongsToNoLibrary) {
  ASSERT_TRUE(Make(Photos("photos")));
  EXPECT_FALSE(FindLibrary(Photos("photos2") / "a.jpg"));
  EXPECT_FALSE(FindLibrary("/"));
}

TEST(KeyPath, LinksOnTheWayAreResolvedButNotTheFileItself) {
  const TempDir dir;
  WriteFile(dir.path() / "real/a.jpg", "x");
  fs::create_directory_symlink(dir.path() / "real", dir.path() / "way");
  fs::create_symlink("a.jpg", dir.path() / "real/link.jpg");
  EXPECT_EQ(KeyPath(dir / "way/link.jpg"), dir / "real/link.jpg");
  EXPECT_EQ(KeyPath(dir / "way/gone.jpg"), dir / "real/gone.jpg");
  EXPECT_EQ(KeyPath(dir / "way/x/../a.jpg"), dir / "real/a.jpg");
  EXPECT_EQ(KeyPath(dir / "real/"), dir / "real");
}

}  // namespace
