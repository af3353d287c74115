#include "core/key_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/files.h"
#include "support/child_processes.h"
#include "support/open_watch.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class KeyValueTest : public testing::Test {
 protected:
  std::string file() const { return dir_ / "settings.conf"; }

  // "(none)" when the key is missing.
  std::string Get(const char* key, int size = 64) const {
    char value[64] = "untouched";
    return RLIBCFileGetKeyValue(file().c_str(), key, value, size, 0) >= 0 ? value : "(none)";
  }

  TempDir dir_;
};

TEST_F(KeyValueTest, BlanksAndOnePairOfQuotesAreDropped) {
  WriteFile(file(), "a=1\n b\t=  two words \r\nc=\"quoted\"\nd=\"\"twice\"\"\ne=\" kept \"\nf=\ng=\"\n");
  EXPECT_EQ(Get("a"), "1");
  EXPECT_EQ(Get("b"), "two words");
  EXPECT_EQ(Get("c"), "quoted");
  EXPECT_EQ(Get("d"), "\"twice\"");
  EXPECT_EQ(Get("e"), " kept ");
  EXPECT_EQ(Get("f"), "");
  EXPECT_EQ(Get("g"), "\"");
}

TEST_F(KeyValueTest, CommentsAndEmptyLinesAreNoPairsAndNoErrors) {
  WriteFile(file(), "\xEF\xBB\xBF# comment=1\n\n   \n  # indented=1\na=#2\n");
  EXPECT_EQ(Get("# comment"), "(none)");
  EXPECT_EQ(Get("a"), "#2");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_F(KeyValueTest, TheLastOfEqualKeysHoldsAndALineNeedsNoEnd) {
  WriteFile(file(), "a=1\nA=3\na=2");
  EXPECT_EQ(Get("a"), "2");
}

TEST_F(KeyValueTest, TheFirstEqualsSignSeparates) {
  WriteFile(file(), "a=b=c\n");
  EXPECT_EQ(Get("a"), "b=c");
}

TEST_F(KeyValueTest, AValueIsCutToTheBuffer) {
  WriteFile(file(), "a=0123456789\n");
  EXPECT_EQ(Get("a", 11), "0123456789");
  EXPECT_EQ(Get("a", 10), "012345678");
  EXPECT_EQ(Get("a", 1), "");
  EXPECT_EQ(Get("a", 0), "(none)");
  char value[8];
  EXPECT_EQ(RLIBCFileGetKeyValue(file().c_str(), "a", value, sizeof(value), 0), 7);
}

TEST_F(KeyValueTest, ACheckWantsExactlyTheValue) {
  WriteFile(file(), "runpersonallumivault = \"yes\"\n");
  const auto check = [&](const char* key, const char* value) {
    return RLIBCFileCheckKeyValue(file().c_str(), key, value, 0) != 0;
  };
  EXPECT_TRUE(check("runpersonallumivault", "yes"));
  EXPECT_FALSE(check("runpersonallumivault", "YES"));
  EXPECT_FALSE(check("runpersonallumivault", "yes "));
  EXPECT_FALSE(check("missing", "yes"));
  EXPECT_EQ(RLIBCFileCheckKeyValue("/nowhere", "runpersonallumivault", "yes", 0), 0);
  EXPECT_EQ(RLIBCFileCheckKeyValue(nullptr, nullptr, nullptr, 0), 0);
}

TEST_F(KeyValueTest, AMissingFileHasNoKeys) {
  EXPECT_EQ(Get("a"), "(none)");
  EXPECT_EQ(RLIBCFileGetKeyValue(nullptr, "a", nullptr, 0, 0), -1);
}

TEST_F(KeyValueTest, MalformedLinesAreSkippedAndLoggedOnce) {
  WriteFile(file(), std::string("a=1\nno pair\n=2\nb") + '\0' + "=3\nc=4\n");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get("a"), "1");
  EXPECT_EQ(Get("c"), "4");
  EXPECT_EQ(Get("b"), "(none)");
  EXPECT_THAT(SyslogCapture::Messages(),
              ElementsAre(file() + ": line 2 is not key=value and was skipped (3 such lines in all)."));
}

TEST_F(KeyValueTest, AChangedFileIsLoggedAgain) {
  WriteFile(file(), "no pair\n");
  Get("a");
  WriteFile(file(), "no pair again\n");
  Get("a");
  EXPECT_EQ(SyslogCapture::Messages().size(), 2U);
}

// Rewrites FILE often, always at the same length. 0 when every content was seen.
int RewriteOften(const std::string& file) {
  for (int value = 100; value < 300; ++value) {
    WriteFile(file, "a=" + std::to_string(value) + "\n");
    if (RLIBCFileCheckKeyValue(file.c_str(), "a", std::to_string(value).c_str(), 0) == 0) return 1;
  }
  return 0;
}

TEST_F(KeyValueTest, EveryChangeIsSeenAlsoOneOfTheSameLengthAtTheSameMoment) {
  EXPECT_EQ(RewriteOften(file()), 0);
}

// Here the times of files advance in the steps of the clock tick only.
TEST_F(KeyValueTest, EveryChangeIsSeenOnAFileSystemWithCoarseTimes) {
  constexpr int kMayNotMount = 77;
  const int status = WaitFor(StartChild([&] {
    const bool mounted = unshare(CLONE_NEWNS) == 0 &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("none", dir_.path().c_str(), "ramfs", 0, nullptr) == 0;
    return mounted ? RewriteOften(file()) : kMayNotMount;
  }));
  if (WIFEXITED(status) && WEXITSTATUS(status) == kMayNotMount) GTEST_SKIP() << "may not mount";
  EXPECT_EQ(status, 0);
}

TEST_F(KeyValueTest, AChangedFileWithTheSameSizeAndTimeIsSeen) {
  WriteFile(file(), "a=1\n");
  usleep(150'000);
  EXPECT_EQ(Get("a"), "1");
  const fs::file_time_type time = fs::last_write_time(file());
  WriteFile(file(), "a=2\n");
  fs::last_write_time(file(), time);
  EXPECT_EQ(Get("a"), "2");
}

TEST_F(KeyValueTest, AReplacedFileWithTheSameSizeAndTimeIsSeen) {
  WriteFile(file(), "a=1\n");
  usleep(150'000);
  EXPECT_EQ(Get("a"), "1");
  const fs::file_time_type time = fs::last_write_time(file());
  WriteFile(file() + ".new", "a=2\n");
  fs::last_write_time(file() + ".new", time);
  fs::rename(file() + ".new", file());
  EXPECT_EQ(Get("a"), "2");
}

TEST_F(KeyValueTest, ARemovedFileHasNoKeysAnyMore) {
  WriteFile(file(), "a=1\n");
  EXPECT_EQ(Get("a"), "1");
  fs::remove(file());
  EXPECT_EQ(Get("a"), "(none)");
}

TEST_F(KeyValueTest, AnUnchangedFileIsNotReadAgain) {
  WriteFile(file(), "a=1\n");
  usleep(150'000);
  const auto first = ReadKeyValues(file());
  ASSERT_NE(first, nullptr);
  const OpenWatch watch(file());
  for (int i = 0; i < 100; ++i) ASSERT_EQ(ReadKeyValues(file()), first) << i;
  EXPECT_EQ(Get("a"), "1");
  EXPECT_FALSE(watch.WasOpened());
}

TEST_F(KeyValueTest, AFileAboveOneMebibyteIsNotReadAndLoggedOnce) {
  const std::string most = "a=1\n#" + std::string((1 << 20) - 5, 'x');
  WriteFile(file(), most);
  EXPECT_EQ(Get("a"), "1");
  WriteFile(file(), most + "x");
  EXPECT_EQ(Get("a"), "(none)");
  EXPECT_EQ(Get("a"), "(none)");
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre(file() + " is larger than 1 MiB and was not read."));
}

TEST_F(KeyValueTest, SpecialFilesAreNotOpened) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  const OpenWatch watch(file());
  EXPECT_EQ(Get("a"), "(none)");
  EXPECT_FALSE(watch.WasOpened());
  fs::remove(file());
  fs::create_directory(file());
  EXPECT_EQ(Get("a"), "(none)");
}

TEST_F(KeyValueTest, AnyCutAndAnyFlippedByteIsParsed) {
  const std::string text = "# c\n a = \"b\" \nx\n=y\r\nkey=value";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    EXPECT_LE(ParseKeyValues(text.substr(0, length)).pairs.size(), 2U);
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string flipped = text;
      flipped[i] = static_cast<char>(byte);
      for (const auto& [key, value] : ParseKeyValues(flipped).pairs) EXPECT_FALSE(key.empty());
    }
  }
  EXPECT_THAT(ParseKeyValues(text).pairs, ElementsAre(Pair("a", "b"), Pair("key", "value")));
}

}  // namespace
