// Libraries of somebody else, indexed by root.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/keyctl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "base/file_descriptor.h"
#include "service/owned_library_fixture.h"
#include "setup/database_adoption.h"
#include "support/media_maker.h"
#include "support/service_test.h"
#include "work/worker_identity.h"

namespace fs = std::filesystem;

namespace {

// Exchanges two names, as fast as that goes.
class Exchange {
 public:
  Exchange(const fs::path& a, const fs::path& b)
      : thread_([this, a, b] {
          while (!stop_) renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
        }) {}
  ~Exchange() {
    stop_ = true;
    thread_.join();
  }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

class OwnerTest : public OwnedLibraryTest {
 protected:
  fs::path identity() const { return scratch() / "told/identity"; }
  void MakeIdentityFolder() const {
    fs::create_directory(identity().parent_path());
    Own(identity().parent_path(), kOwner);
  }
  // Whoever stores the next photos says who it is.
  void TellIdentity() const {
    MakeIdentityFolder();
    UsePreviewTool(
        "{ echo $(id -u) $(id -g); grep -E '^(NoNewPrivs|CapEff|Groups):' /proc/self/status | sort -r; } >" +
        identity().string());
  }
  // What SCRIPT, run by a worker that has become the owner, writes.
  std::string ToldByWorker(const std::string& script) {
    Photo("a.jpg");
    Index();
    MakeIdentityFolder();
    UsePreviewTool("{ " + script + "; } >" + identity().string() + " 2>/dev/null");
    Photo("b.jpg");
    EXPECT_EQ(Index()["added"].asInt(), 1);
    return ReadFile(identity());
  }
  static std::string NotGiven(const fs::path& file) {
    return file.string() +
           ": belongs to root, and may be another file of root's that was moved here; if it is the "
           "library's, "
           "run: chown 20001 " +
           file.string() + "\n";
  }
  std::string Secrets() const { return Value("SELECT count(*) FROM photo_label WHERE name = 'secret'"); }
};

TEST_F(OwnerTest, LinkIntoPrivateFolderIsSkipped) {
  Photo("mine.jpg");
  Link("link.jpg", secret(), kOwner);
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "1");
  EXPECT_EQ(Secrets(), "0");
}

TEST_F(OwnerTest, RowsOfARefusedLinkStay) {
  Photo("mine.jpg");
  const fs::path target = scratch() / "open.jpg";
  MakeJpeg(target, 8, 6);
  Own(target, kStranger);
  Link("link.jpg", target, kOwner);
  EXPECT_EQ(Index()["added"].asInt(), 2);
  fs::remove(File("link.jpg"));
  Link("link.jpg", secret(), kOwner);
  const Json::Value report = Index({"--accept-loss"});
  EXPECT_EQ(report["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(report["deleted"].asInt(), 0);
  EXPECT_EQ(Run({"reindex", folder(), "--accept-loss"}).status, 0);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image WHERE path = 'link.jpg'"), "1");
  EXPECT_EQ(Secrets(), "0");
}

TEST_F(OwnerTest, RefusedLinkThatMovedHoldsNoOtherFolderBack) {
  Photo("links/mine.jpg");
  Photo("other/o.jpg");
  const fs::path target = scratch() / "open.jpg";
  MakeJpeg(target, 8, 6);
  Own(target, kStranger);
  Link("links/link.jpg", target, kOwner);
  Index();
  chmod(target.c_str(), 0600);
  fs::rename(File("links/link.jpg"), File("link.jpg"));
  fs::remove_all(File("links"));
  fs::remove_all(File("other"));
  EXPECT_EQ(Index({"--accept-loss"})["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image WHERE path = 'links/link.jpg'"), "1");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share WHERE sharename = 'links'"), "1");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share WHERE sharename = 'other'"), "0");
}

TEST_F(OwnerTest, LinkToWhatItsOwnerMayReadIsFollowed) {
  const fs::path target = scratch() / "own/far.jpg";
  MakeJpeg(target, 8, 6);
  Own(target, kOwner);
  Own(target.parent_path(), kOwner);
  chmod(target.parent_path().c_str(), 0700);
  Link("link.jpg", target, kOwner);
  EXPECT_EQ(Index()["added"].asInt(), 1);
}

TEST_F(OwnerTest, LinkToAnOpenFileOfTheProcessIsNotFollowed) {
  for (int descriptor = 0; descriptor < 32; ++descriptor) {
    const std::string number = std::to_string(descriptor);
    Link(number + ".jpg", "/proc/self/fd/" + number + "/secret.jpg", kOwner);
  }
  EXPECT_EQ(Index()["added"].asInt(), 0);
}

TEST_F(OwnerTest, DatabaseIsTheOwners) {
  Photo("a.jpg");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(OwnerOf(Database()), kOwner);
}

TEST_F(OwnerTest, WorkerHasTheOwnersRightsAlone) {
  Photo("a.jpg");
  Index();
  TellIdentity();
  Photo("b.jpg");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(ReadFile(identity()), "20001 65534\nNoNewPrivs:\t1\nGroups:\t \nCapEff:\t0000000000000000\n");
}

TEST_F(OwnerTest, LinkOfAnotherLeadsToNoLibrary) {
  MakeJpeg(secret().parent_path() / "b.jpg", 8, 6);
  const fs::path link = scratch() / "Pictures";
  fs::create_directory_symlink(secret().parent_path(), link);
  Own(link, kOwner);
  const RunResult result = Run({"index", link});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "lumivault: " + link.string() +
                            ": a link on the way belongs to somebody who does not own the folder; name the "
                            "folder itself\n");
  EXPECT_FALSE(fs::exists(secret().parent_path() / kDatabaseName));
  Own(link, kStranger);
  EXPECT_EQ(Run({"index", link}).status, 0) << "of who owns the folder";
}

TEST_F(OwnerTest, AsRootKeepsRoot) {
  Photo("a.jpg");
  EXPECT_EQ(Index({"--as-root"})["added"].asInt(), 1);
  EXPECT_EQ(OwnerOf(Database()), 0U);
  TellIdentity();
  Photo("b.jpg");
  Index({"--as-root"});
  EXPECT_THAT(ReadFile(identity()), testing::StartsWith("0 0\n"));
}

TEST_F(OwnerTest, AsRootFollowsNoLinkFurtherThanItsMakerMay) {
  Link("link.jpg", secret(), kOwner);
  const Json::Value report = Index({"--as-root"});
  EXPECT_EQ(report["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(Secrets(), "0");
}

// Root's library has a folder of the owner's, and a database that everybody may read.
TEST_F(OwnerTest, NoSideFileShowsWhatTheOwnerOfItsFolderMayNotRead) {
  Own(folder(), 0);
  for (const char* name : {"trip/a.jpg", "trip/b.jpg"}) MakeJpeg(File(name), 8, 6);
  WriteFile(scratch() / "private/text", "the stranger's own words");
  Own(scratch() / "private/text", kStranger);
  chmod((scratch() / "private/text").c_str(), 0600);
  WriteFile(File("trip/@eaDir/b.jpg/KAVOPHOTO_TITLE"), "a title of the owner's");
  fs::create_directories(File("trip/@eaDir/a.jpg"));
  fs::create_hard_link(scratch() / "private/text", File("trip/@eaDir/a.jpg/KAVOPHOTO_TITLE"));
  for (const char* name : {"trip", "trip/@eaDir", "trip/@eaDir/a.jpg", "trip/@eaDir/b.jpg"})
    Own(File(name), kOwner);
  EXPECT_EQ(Index()["added"].asInt(), 2);
  EXPECT_NE(ReadFile(Database()).find("a title of the owner's"), std::string::npos);
  EXPECT_EQ(ReadFile(Database()).find("the stranger's own words"), std::string::npos);
}

TEST_F(OwnerTest, AsRootReadsNoOtherNameOfWhatTheOwnerMayNot) {
  Photo("mine.jpg");
  fs::create_hard_link(File("mine.jpg"), File("again.jpg"));
  chmod(secret().c_str(), 0600);
  fs::create_hard_link(secret(), File("hard.jpg"));
  const Json::Value report = Index({"--as-root"});
  EXPECT_EQ(report["added"].asInt(), 2);
  EXPECT_EQ(report["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(Secrets(), "0");
}

TEST_F(OwnerTest, FolderOfRootsIsReadByRoot) {
  Photo("a.jpg");
  Own(folder(), 0);
  Index();
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

// Whoever may exchange it for a folder of his own would have workers that stay root.
TEST_F(OwnerTest, FolderOfRootsThatSomebodyElseMayExchangeIsNotReadByRoot) {
  Photo("up/kept/a.jpg");
  Own(File("up/kept"), 0);
  const auto refused = [this](const fs::path& above) {
    return "lumivault: " + File("up/kept").string() +
           ": belongs to root, but somebody else may put another folder in its place in " + above.string() +
           "; give it to its user, or say --as-root\n";
  };
  for (const char* way : {"--failed", "--dry-run"}) {
    const RunResult result = Run({"index", File("up/kept"), way});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, refused(File("up")));
  }
  EXPECT_FALSE(fs::exists(File("up/kept/.KAVOHGADB")));
  Own(File("up"), 0);
  EXPECT_EQ(Run({"index", File("up/kept")}).err, refused(folder())) << "further up";
  Own(folder(), 0);
  chmod(File("up").c_str(), 0777);
  EXPECT_EQ(Run({"index", File("up/kept")}).err, refused(File("up"))) << "everybody may write there";
  EXPECT_EQ(Run({"index", File("up/kept"), "--as-root"}).status, 0);
  chmod(File("up").c_str(), 01777);
  EXPECT_EQ(Run({"index", File("up/kept")}).status, 0) << "nobody exchanges what is another's there";
}

TEST_F(OwnerTest, DatabaseThatRootMadeIsGivenToTheOwner) {
  Photo("a.jpg");
  Index({"--as-root"});
  Photo("b.jpg");
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(OwnerOf(Database()), kOwner);
}

TEST_F(OwnerTest, FileWithASecondNameIsNotGivenAway) {
  Photo("a.jpg");
  Index({"--as-root"});
  fs::create_hard_link(Database(), scratch() / "second");
  Photo("b.jpg");
  EXPECT_EQ(Run({"index", folder()}).status, 5);
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

TEST_F(OwnerTest, FileThatIsNoDatabaseIsNotGivenAway) {
  Photo("a.jpg");
  WriteFile(Database(), "something of root's own");
  chmod(Database().c_str(), 0600);
  EXPECT_NE(Run({"index", folder()}).status, 0);
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

// The owner may have moved it into its place: the folder is his.
TEST_F(OwnerTest, PrivateDatabaseOfRootsIsNotGivenAway) {
  Photo("a.jpg");
  MakeJpeg(scratch() / "other/a.jpg", 8, 6);
  EXPECT_EQ(Run({"index", scratch() / "other"}).status, 0);
  fs::rename(scratch() / "other" / kDatabaseName, Database());
  chmod(Database().c_str(), 0600);
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: " + NotGiven(Database()));
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

TEST_F(OwnerTest, DatabaseOfAnotherProgramOfRootsIsNotGivenAway) {
  Photo("a.jpg");
  WriteFile(Database(), "");
  QueryDatabase(Database(), "CREATE TABLE secrets (secret text)");
  EXPECT_EQ(Run({"index", folder()}).err, "lumivault: " + NotGiven(Database()));
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

TEST_F(OwnerTest, EmptyFileOfRootsIsNotGivenAway) {
  Photo("a.jpg");
  WriteFile(Database(), "");
  EXPECT_EQ(Run({"index", folder()}).err, "lumivault: " + NotGiven(Database()));
  EXPECT_EQ(OwnerOf(Database()), 0U);
}

TEST_F(OwnerTest, SideFileOfRootsBesideTheOwnersDatabaseIsNotGivenAway) {
  Photo("a.jpg");
  Index();
  const fs::path log = Database().string() + "-wal";
  WriteFile(log, "\x37\x7f\x06\x82 and something of root's own");
  EXPECT_EQ(Run({"index", folder()}).err, "lumivault: " + NotGiven(log));
  EXPECT_EQ(OwnerOf(log), 0U);
}

// Its folder's may be root's, as every folder's is in many a container.
TEST_F(OwnerTest, OwnerWithoutAccountHasNoGroupOfRoots) {
  ASSERT_EQ(lchown(folder().c_str(), kOwner, 0), 0);
  EXPECT_EQ(ToldByWorker("id -g; grep Groups: /proc/self/status"), "65534\nGroups:\t \n");
}

// A folder of several, with the database of one of them.
TEST_F(OwnerTest, DatabaseThatTheOwnerMayNotWriteIsOneLineAndStaysUsable) {
  Photo("a.jpg");
  Index();
  Own(Database(), kStranger);
  chmod(folder().c_str(), 0777);
  Photo("b.jpg");
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err,
              testing::HasSubstr(".KAVOHGADB belongs to user 20002; user 20001 may not write it."));
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_FALSE(fs::exists(Database().string() + "-wal"));
  EXPECT_EQ(Run({"stats", folder()}).status, 0);
}

// The way to the folder was exchanged after its owner had been looked up.
TEST_F(OwnerTest, DatabaseInTheFolderOfAnotherIsNotGivenAway) {
  Photo("a.jpg");
  Index({"--as-root"});
  const Library library{folder(), "somebody"};
  EXPECT_TRUE(AdoptDatabase(library, WorkerIdentity{kStranger, kStranger}));
  EXPECT_EQ(OwnerOf(Database()), 0U);
  fs::rename(folder(), scratch() / "moved");
  fs::create_directory_symlink(scratch() / "moved", folder());
  EXPECT_TRUE(AdoptDatabase(library, WorkerIdentity{kOwner, kOwner}));
  EXPECT_EQ(OwnerOf(scratch() / "moved" / kDatabaseName), 0U);
  EXPECT_TRUE(AdoptDatabase(Library{scratch() / "moved", "somebody"}, WorkerIdentity{kOwner, kOwner}));
  EXPECT_EQ(OwnerOf(scratch() / "moved" / kDatabaseName), kOwner);
}

TEST_F(OwnerTest, RootAndOwnerIndexInTurn) {
  Photo("a.jpg");
  Index();
  chmod(scratch().c_str(), 01777);
  fs::rename(state(), scratch() / "state-of-root");
  AsUser(kOwner);
  Photo("b.jpg");
  Index();
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2");
  fs::rename(state(), scratch() / "state-of-owner");
  fs::rename(scratch() / "state-of-root", state());
  AsUser(0);
  Photo("c.jpg");
  Index();
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "3");
}

// The owner indexes a folder of his own to which the stranger may write.
TEST_F(OwnerTest, LinkOfAStrangerShowsNothingOfTheReaders) {
  const fs::path mine = scratch() / "own/diary.jpg";
  MakeJpeg(mine, 8, 6, SecretTags());
  Own(mine, kOwner);
  Own(mine.parent_path(), kOwner);
  chmod(mine.parent_path().c_str(), 0700);
  chmod(scratch().c_str(), 0777);
  Link("link.jpg", mine, kStranger);
  AsUser(kOwner);
  Photo("a.jpg");
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["skipped"][kRefusedLink].asInt(), 1);
  EXPECT_EQ(Secrets(), "0");
}

TEST_F(OwnerTest, OwnerSeesNoOtherLibrary) {
  MakeJpeg(scratch() / "other/a.jpg", 8, 6);
  EXPECT_EQ(Run({"index", scratch() / "other"}).status, 0);
  Photo("a.jpg");
  Index();
  UsePreviewTool("grep -c = \"$LUMIVAULT_ROOT/etc/kavo/personal.conf\" >" + identity().string() +
                 "; ls \"$LUMIVAULT_ROOT/libraries\" >>" + identity().string() + " 2>/dev/null");
  MakeIdentityFolder();
  Photo("b.jpg");
  Index();
  EXPECT_EQ(ReadFile(identity()), "1\n");
}

TEST_F(OwnerTest, WorkerHasNothingOfRootsEnvironment) {
  for (const char* name :
       {"ROOTS_TOKEN", "PGPASSWORD", "XDG_CONFIG_HOME", "LUMIVAULT_OTHER", "LCX", "LD_LIBRARY_PATH"})
    Environment(name, "secret");
  Environment("PATH", "/secret:" + std::string(getenv("PATH")));
  Environment("HOME", "/secret");
  Environment("TZ", "Asia/Tokyo");
  Environment("LC_TIME", "C");
  const std::string told = ToldByWorker("tr '\\0' '\\n' </proc/$PPID/environ; echo; env");
  EXPECT_THAT(told, testing::Not(testing::HasSubstr("secret")));
  EXPECT_THAT(told, testing::HasSubstr("TZ=Asia/Tokyo\n"));
  EXPECT_THAT(told, testing::HasSubstr("LC_TIME=C\n"));
  EXPECT_THAT(told, testing::HasSubstr("HOME=/\n"));
  EXPECT_THAT(told,
              testing::HasSubstr("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n"));
}

TEST_F(OwnerTest, WorkerHasNothingOpenOfWhoStartedTheRun) {
  WriteFile(scratch() / "roots.txt", "secret");
  // Not closed by a new program, like what a shell opens for one.
  const FileDescriptor opened(open((scratch() / "roots.txt").c_str(), O_RDONLY));
  const FileDescriptor high(dup2(opened.get(), 40));
  const std::string told = ToldByWorker("readlink /proc/$PPID/fd/*; readlink /proc/self/fd/*");
  EXPECT_THAT(told, testing::HasSubstr("/proc/"));
  EXPECT_THAT(told, testing::Not(testing::HasSubstr("roots.txt")));
}

// Who shares the session could type at root's terminal.
TEST_F(OwnerTest, WorkerIsInASessionOfItsOwn) {
  const std::string told = ToldByWorker("cut -d' ' -f6 /proc/$PPID/stat");
  EXPECT_NE(told, std::to_string(getsid(0)) + "\n");
  EXPECT_THAT(told, testing::MatchesRegex("[1-9][0-9]*\n"));
}

TEST_F(OwnerTest, WorkerHoldsNoKeyOfRoots) {
  constexpr const char* kKey = "lumivault-test-key";
  if (syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr) < 0 ||
      syscall(SYS_add_key, "user", kKey, "secret", 6, KEY_SPEC_SESSION_KEYRING) < 0) {
    GTEST_SKIP() << "the kernel keeps no keys here";
  }
  const std::string told = ToldByWorker("cat /proc/keys; echo end");
  EXPECT_THAT(told, testing::EndsWith("end\n"));
  EXPECT_THAT(told, testing::Not(testing::HasSubstr(kKey)));
}

// A folder that is exchanged for a link into the stranger's while it is indexed, by each of several runs.
class ExchangedFolderTest : public OwnerTest {
 protected:
  void ExpectNothingShown(const std::vector<std::string>& more) {
    constexpr int kRuns = 8;
    constexpr int kPhotos = 40;
    fs::create_directory(File("trip"));
    Own(File("trip"), kOwner);
    fs::create_directory_symlink(secret().parent_path(), File("bait"));
    Own(File("bait"), kOwner);
    for (int i = 0; i < kPhotos; ++i) {
      const std::string name = std::to_string(i) + ".jpg";
      Photo("trip/" + name);
      MakeJpeg(secret().parent_path() / name, 8, 6, SecretTags());
    }
    std::vector<std::string> arguments{"reindex", folder(), "--quiet", "--accept-loss"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    for (int run = 0; run < kRuns; ++run) {
      const Exchange exchange(File("trip"), File("bait"));
      static_cast<void>(Run(arguments));
      ASSERT_EQ(Secrets(), "0") << run;
    }
  }
};

TEST_F(ExchangedFolderTest, ShowsNothing) {
  ExpectNothingShown({});
}

TEST_F(ExchangedFolderTest, ShowsNothingToRootEither) {
  ExpectNothingShown({"--as-root"});
}

}  // namespace
