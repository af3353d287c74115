// What commands that only read do where nothing can be written, and that they write nothing where it could
// be.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <set>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class ReadingTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 16, 8, {{"Iptc.Application2.Keywords", "sea"}});
    MakeJpeg(File("sub/100% d.jpg"), 8, 8);
    Index();
  }

  // Each command with what it has to print.
  std::vector<std::pair<std::vector<std::string>, std::string>> Commands() const {
    return {{{"show", File("a.jpg")}, "labels: sea"},
            {{"ls", folder()}, "a.jpg"},
            {{"albums", folder()}, "sub"},
            {{"labels", folder()}, "sea"},
            {{"stats", folder()}, "photos: 2"},
            {{"export", folder()}, "\"path\":\"sub/100% d.jpg\""}};
  }
  void ExpectAllAnswer() {
    for (const auto& [arguments, expected] : Commands()) {
      const RunResult result = Run(arguments);
      EXPECT_EQ(result.status, 0) << arguments.front() << ": " << result.err;
      EXPECT_NE(result.out.find(expected), std::string::npos) << arguments.front() << ": " << result.out;
    }
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }
  // Everything in the folder, with the times of its last change.
  std::map<std::string, std::string> Snapshot() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder())) {
      struct stat status {};
      EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
      files[entry.path()] = std::to_string(status.st_mtim.tv_sec) + "." +
                            std::to_string(status.st_mtim.tv_nsec) + " " + std::to_string(status.st_size);
    }
    return files;
  }
};

TEST_F(ReadingTest, NothingIsMadeOrChanged) {
  const auto before = Snapshot();
  ExpectAllAnswer();
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(ReadingTest, ALibraryOfAnotherUserInAFolderNobodyMayWrite) {
  chmod((folder() / ".KAVOHGADB").c_str(), 0444);
  chmod(folder().c_str(), 0555);
  chmod(scratch().c_str(), 0777);
  if (getuid() == 0) {
    AsUser(kNobody);
    fs::remove_all(state());  // its own state folder knows of no library
  }
  ExpectAllAnswer();
  EXPECT_FALSE(fs::exists(state()) && getuid() == 0) << "reading needs no state folder and makes none";
  chmod(folder().c_str(), 0755);
}

TEST_F(ReadingTest, WhatIsOnlyInTheLogIsRead) {
  const fs::path copy = scratch() / "copy";
  // The copy is made while the connection is open: its end would empty the log.
  const std::string script =
      "cd '" + folder().string() + "' && printf '%s\n' 'PRAGMA wal_autocheckpoint=0;' " +
      "\"UPDATE photo_image SET title = 'in the log' WHERE path = 'a.jpg';\" " + "\".shell cp -r '" +
      folder().string() + "' '" + copy.string() + "'\" | sqlite3 .KAVOHGADB";
  ASSERT_EQ(std::system(script.c_str()), 0);
  ASSERT_GT(fs::file_size(copy / ".KAVOHGADB-wal"), 0U);
  const RunResult result = Run({"show", copy / "a.jpg"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("title: in the log"), std::string::npos) << result.out;
}

// An export that waits for its reader in the middle, as it would for a slow disk.
class LongExportTest : public ReadingTest {
 protected:
  static constexpr int kKilledInShell = 128;

  void SetUp() override {
    ReadingTest::SetUp();
    Query(
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
        "INSERT INTO photo_image (path, name, title) SELECT 'x' || (i + 10000), 'x', hex(zeroblob(100)) FROM "
        "n");
    at_rest_ = Names();
  }
  std::string Command() const {
    return std::string(LUMIVAULT_PROGRAM) + " export --root='" + state().string() + "' '" +
           folder().string() + "'";
  }

  std::set<std::string> at_rest_;
};

TEST_F(LongExportTest, SeesOneMomentThoughARunBeginsMeanwhile) {
  FILE* pipe = popen(Command().c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string exported(1, static_cast<char>(fgetc(pipe)));
  Query("UPDATE photo_image SET title = 'later' WHERE name = 'x'");
  MakeJpeg(File("zz.jpg"), 8, 8);
  EXPECT_EQ(Index()["added"].asInt(), 1);
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) exported += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_NE(exported.find("\"path\":\"x13000\""), std::string::npos);
  EXPECT_EQ(exported.find("later"), std::string::npos);
  EXPECT_EQ(exported.find("zz.jpg"), std::string::npos);
  EXPECT_EQ(Names(), (std::set<std::string>{".KAVOHGADB", "a.jpg", "sub", "zz.jpg"}));
}

TEST_F(LongExportTest, WhoseReaderStopsLeavesNothingBehind) {
  const std::string command =
      "bash -o pipefail -c \"trap - PIPE; " + Command() + " | head -c 10 >/dev/null\"";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
  EXPECT_EQ(Names(), at_rest_);
}

// It comes when the export has begun and cannot go on, and is heeded as soon as it can.
TEST_F(LongExportTest, ThatASignalStopsLeavesNothingBehind) {
  const std::string command = "cd '" + scratch().string() + "' && mkfifo pipe && { " + Command() +
                              " >pipe & } && exec 3<pipe && head -c 1 <&3 >/dev/null && kill -TERM $! && cat "
                              "<&3 >/dev/null; wait $!";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), kKilledInShell + SIGTERM);
  EXPECT_EQ(Names(), at_rest_);
}

TEST_F(ReadingTest, ARunOnTheLibraryOfAnotherUserSaysThatItMayNotWrite) {
  if (getuid() != 0) GTEST_SKIP() << "the program cannot be run as another user here";
  chmod(scratch().c_str(), 0777);
  AsUser(kNobody);
  fs::remove_all(state());
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err,
            "lumivault: " + (folder() / ".KAVOHGADB").string() + ": cannot be written: Permission denied\n");
}

TEST_F(ReadingTest, ADatabaseThatMayNotBeReadIsOneLineAndStatusFive) {
  if (getuid() != 0) GTEST_SKIP() << "the program cannot be run as another user here";
  chmod((folder() / ".KAVOHGADB").c_str(), 0);
  chmod(scratch().c_str(), 0777);
  AsUser(kNobody);
  fs::remove_all(state());
  const RunResult result = Run({"stats", folder(), "--json"});
  const std::string line = (folder() / ".KAVOHGADB").string() + ": cannot be opened: Permission denied";
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "lumivault: " + line + "\n");
  EXPECT_EQ(StrictJson(result.out)["error"].asString(), line);
}

// There a relative path cannot be made absolute.
TEST_F(ReadingTest, InAFolderThatIsGoneARelativePathLiesInNoLibrary) {
  const fs::path before = fs::current_path();
  const fs::path gone = scratch() / "gone";
  fs::create_directory(gone);
  fs::current_path(gone);
  fs::remove(gone);
  const RunResult result = Run({"ls", "photos"});
  fs::current_path(before);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "lumivault: photos: No such file or directory\n");
}

TEST_F(ReadingTest, EveryCommandTellsItsFailureAsJson) {
  const std::string nowhere = scratch() / "nowhere";
  for (const char* command : {"show", "ls", "albums", "labels", "stats"}) {
    const RunResult result = Run({command, nowhere, "--json"});
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(StrictJson(result.out)["error"].asString(), nowhere + ": No such file or directory") << command;
    EXPECT_EQ(StrictJson(result.out)["status"].asInt(), 1) << command;
  }
  for (const char* option : {"--quiet", "--dry-run"}) {
    const RunResult result = Run({"index", nowhere, "--json", option});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(StrictJson(result.out)["error"].asString(), nowhere + ": No such file or directory");
  }
}

}  // namespace
