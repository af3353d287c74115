#include <unistd.h>

#include <array>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kFull = ">/dev/full";
constexpr const char* kClosed = ">&-";
constexpr const char* kNoSpace = "lumivault: standard output: No space left on device\n";
constexpr const char* kBadDescriptor = "lumivault: standard output: Bad file descriptor\n";
constexpr const char* kBrokenPipe = "lumivault: standard output: Broken pipe\n";

using Arguments = std::vector<std::string>;

class OutputTest : public ServiceTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("trip/a.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
    WriteFile(File("bad.jpg"), "");
    Index({}, 3);
  }

  // Every command that has something to print, in each of its forms.
  std::vector<Arguments> Commands() const {
    std::vector<Arguments> commands{{"--help"}, {"--version"}, {"index", "--help"}, {"export", folder()}};
    for (const Arguments& command : std::initializer_list<Arguments>{{"index", "--quiet", folder()},
                                                                     {"index", "--dry-run", folder()},
                                                                     {"reindex", "--quiet", folder()},
                                                                     {"show", File("trip/a.jpg")},
                                                                     {"ls", folder()},
                                                                     {"albums", folder()},
                                                                     {"labels", folder()},
                                                                     {"stats", folder()},
                                                                     {"rights", folder()},
                                                                     {"doctor", folder()}}) {
      commands.push_back(command);
      commands.push_back(command);
      commands.back().emplace_back("--json");
    }
    return commands;
  }

  // The program with its standard output as the shell's REDIRECTION has it.
  RunResult RunInto(const std::string& redirection, const Arguments& arguments) {
    Arguments shell{"-c", "exec \"$@\" " + redirection, "sh", LUMIVAULT_PROGRAM};
    shell.insert(shell.end(), arguments.begin(), arguments.end());
    shell.push_back("--root=" + state().string());
    return ProgramRun(shell, scratch() / "shell", {}, std::nullopt, "/bin/sh").Wait();
  }

  void ExpectUnwritten(const std::string& redirection, const std::string& line) {
    for (const Arguments& command : Commands()) {
      SCOPED_TRACE(testing::PrintToString(command));
      if (command.front() == "index") WriteFile(File("worse" + std::to_string(++files_) + ".jpg"), "");
      const RunResult result = RunInto(redirection, command);
      EXPECT_EQ(result.status, 1);
      EXPECT_EQ(result.err, line);
      EXPECT_EQ(result.out, "");
    }
  }

 private:
  int files_ = 0;
};

TEST_F(OutputTest, AFullDiskIsOneLineAndAFailure) {
  ExpectUnwritten(kFull, kNoSpace);
}

TEST_F(OutputTest, AClosedOutputIsOneLineAndAFailure) {
  ExpectUnwritten(kClosed, kBadDescriptor);
}

TEST_F(OutputTest, AReaderThatWentAwayIsOneLineAndAFailure) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  ExpectUnwritten(">&" + std::to_string(ends[1]), kBrokenPipe);
  close(ends[1]);
}

// A part that does not fit the buffer is written at once; what comes behind it may find room.
TEST_F(OutputTest, MoreThanABufferHolds) {
  Query(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000) "
      "INSERT INTO photo_image (path, name) SELECT 'x' || i, 'x' FROM n");
  for (const Arguments& command :
       std::initializer_list<Arguments>{{"ls", folder()}, {"ls", "--json", folder()}, {"export", folder()}}) {
    const RunResult result = RunInto(kFull, command);
    EXPECT_EQ(result.status, 1) << command.front();
    EXPECT_EQ(result.err, kNoSpace) << command.front();
  }
}

TEST_F(OutputTest, WhatWasDoneIsKept) {
  MakeJpeg(File("b.jpg"), 8, 8);
  EXPECT_EQ(RunInto(kFull, {"index", "--quiet", folder()}).status, 1);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

// A status that tells of something worse stays.
TEST_F(OutputTest, AFailureKeepsItsStatus) {
  fs::remove_all(File("trip"));
  fs::remove(File("bad.jpg"));
  for (const char* form : {"--quiet", "--dry-run"})
    EXPECT_EQ(RunInto(kFull, {"index", form, folder()}).status, 7);
  const std::string nowhere = scratch() / "nowhere";
  const RunResult result = RunInto(kFull, {"doctor", "--json", nowhere});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + nowhere + ": No such file or directory\n" + kNoSpace);
}

TEST_F(OutputTest, AFullErrorOutputChangesNothing) {
  const RunResult result = RunInto("2>/dev/full", {"ls", folder()});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("trip"), std::string::npos);
}

}  // namespace
