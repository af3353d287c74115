// Files, times and numbers that do not fit 32 bits, and bytes above 127: what a 32-bit processor gets wrong
// first.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "base/file_descriptor.h"
#include "platform/database_fixture.h"
#include "platform/files.h"
#include "platform/image_cache.h"
#include "platform/index.h"
#include "platform/text.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr int64_t kFiveGiB = int64_t{5} << 30;
constexpr time_t kYear2100 = 4'102'444'800;

static_assert(sizeof(time_t) == 8 && sizeof(off_t) == 8 && sizeof(ino_t) == 8,
              "built without the wide interfaces");

class WideValuesTest : public testing::Test {
 protected:
  WideValuesTest() { setenv("LUMIVAULT_ROOT", dir_.path().c_str(), 1); }
  ~WideValuesTest() override { unsetenv("LUMIVAULT_ROOT"); }

  // Sets the modification time; false where the file system cannot keep it.
  [[nodiscard]] static bool MakeFuture(const std::string& path) {
    const timespec times[2] = {{kYear2100, 0}, {kYear2100, 0}};
    struct stat status {};
    return utimensat(AT_FDCWD, path.c_str(), times, 0) == 0 && stat(path.c_str(), &status) == 0 &&
           status.st_mtime == kYear2100;
  }
  // Makes the file longer, without using room for it.
  [[nodiscard]] static bool MakeHuge(const std::string& path) {
    return truncate(path.c_str(), kFiveGiB) == 0;
  }

  TempDir dir_;
};

// Whether the engine itself gets on with the file: the distribution may have built it with narrow times.
bool SqliteOpens(const std::string& file) {
  sqlite3* raw = nullptr;
  const bool opens = sqlite3_open(file.c_str(), &raw) == SQLITE_OK &&
                     sqlite3_exec(raw, "SELECT * FROM t", nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(raw);
  return opens;
}

constexpr const char* kNoFuture = "this file system keeps no times after 2038";
constexpr const char* kNoHuge = "this file system keeps no files of 5 GiB";

TEST_F(WideValuesTest, FileOfTheFutureIsThere) {
  WriteFile(dir_ / "a.txt", "a");
  if (!MakeFuture(dir_ / "a.txt")) GTEST_SKIP() << kNoFuture;
  int64_t size = 0;
  EXPECT_NE(RLIBCFileExist((dir_ / "a.txt").c_str()), 0);
  EXPECT_TRUE(IsFileExist((dir_ / "a.txt").c_str(), &size));
  EXPECT_EQ(size, 1);
  EXPECT_NE(KAVOBeneathExist(dir_.path().c_str(), (dir_ / "a.txt").c_str()), 0);
}

TEST_F(WideValuesTest, FolderOfTheFutureIsAFolder) {
  fs::create_directory(dir_ / "folder");
  if (!MakeFuture(dir_ / "folder")) GTEST_SKIP() << kNoFuture;
  EXPECT_EQ(RLIBCFileCheckDir((dir_ / "folder").c_str()), 1);
}

TEST_F(WideValuesTest, SettingsOfTheFutureAreRead) {
  WriteFile(dir_ / "a.conf", "key=value\n");
  if (!MakeFuture(dir_ / "a.conf")) GTEST_SKIP() << kNoFuture;
  EXPECT_NE(RLIBCFileCheckKeyValue((dir_ / "a.conf").c_str(), "key", "value", 0), 0);
}

TEST_F(WideValuesTest, SideFileOfTheFutureIsReadAndRemoved) {
  const std::string file = dir_ / "side";
  WriteFile(file, "text");
  if (!MakeFuture(file)) GTEST_SKIP() << kNoFuture;
  EXPECT_GE(FileDescriptor(KAVOBeneathOpen(dir_.path().c_str(), file.c_str())).get(), 0);
  EXPECT_EQ(KAVOBeneathRemove(dir_.path().c_str(), file.c_str()), 0);
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(WideValuesTest, QueueOfTheFutureIsLocked) {
  WriteFile(dir_ / "queue", "line\n");
  if (!MakeFuture(dir_ / "queue")) GTEST_SKIP() << kNoFuture;
  int descriptor = -1;
  ASSERT_NE(RLIBCFileLockByFile((dir_ / "queue").c_str(), 1, &descriptor), 0);
  RLIBCFileUnlockByFile(descriptor);
}

TEST_F(WideValuesTest, DatabaseOfTheFutureIsOpened) {
  const std::string file = dir_ / "a.db";
  const auto query = [&] {
    const std::unique_ptr<KAVODB_CONNECTION, decltype(&KAVODBClose)> connection(
        KAVODBConnect(nullptr, nullptr, nullptr, file.c_str()), &KAVODBClose);
    return KAVODBExecute(connection.get(), "CREATE TABLE IF NOT EXISTS t (a); INSERT INTO t VALUES (1);",
                         nullptr);
  };
  ASSERT_EQ(query(), 0);
  if (!MakeFuture(file)) GTEST_SKIP() << kNoFuture;
  if (!SqliteOpens(file)) GTEST_SKIP() << "this machine's SQLite has 32-bit times";
  EXPECT_EQ(query(), 0);
}

TEST_F(WideValuesTest, PhotoOfTheFutureIsParsed) {
  MakeJpeg(dir_ / "a.jpg", 40, 30, {{"Exif.Image.Make", "Maker"}});
  if (!MakeFuture(dir_ / "a.jpg")) GTEST_SKIP() << kNoFuture;
  const auto parsed = GetParsedImage(dir_ / "a.jpg");
  EXPECT_EQ(parsed->outcome, ParsedImage::Outcome::kParsed) << parsed->error;
  EXPECT_EQ(parsed->width, 40);
  const auto make = parsed->exif.findKey(Exiv2::ExifKey("Exif.Image.Make"));
  ASSERT_NE(make, parsed->exif.end());
  EXPECT_EQ(make->toString(), "Maker");
}

TEST_F(WideValuesTest, HugeFileTellsItsSize) {
  WriteFile(dir_ / "a.txt", "a");
  if (!MakeHuge(dir_ / "a.txt")) GTEST_SKIP() << kNoHuge;
  int64_t size = 0;
  EXPECT_TRUE(IsFileExist((dir_ / "a.txt").c_str(), &size));
  EXPECT_EQ(size, kFiveGiB);
}

TEST_F(WideValuesTest, HugeFileIsOpenedBelowItsRoot) {
  WriteFile(dir_ / "a.txt", "a");
  if (!MakeHuge(dir_ / "a.txt")) GTEST_SKIP() << kNoHuge;
  const FileDescriptor file(KAVOBeneathOpen(dir_.path().c_str(), (dir_ / "a.txt").c_str()));
  char first = 0;
  ASSERT_EQ(read(file.get(), &first, 1), 1);
  EXPECT_EQ(first, 'a');
}

TEST_F(WideValuesTest, HugeQueueIsLocked) {
  WriteFile(dir_ / "queue", "line\n");
  if (!MakeHuge(dir_ / "queue")) GTEST_SKIP() << kNoHuge;
  int descriptor = -1;
  ASSERT_NE(RLIBCFileLockByFile((dir_ / "queue").c_str(), 1, &descriptor), 0);
  EXPECT_EQ(lseek(descriptor, 0, SEEK_END), kFiveGiB);
  RLIBCFileUnlockByFile(descriptor);
}

// 64-bit arguments stand in pairs of 32-bit places, and those begin at even ones: a place may stay empty, in
// registers and on the stack.
TEST_F(WideValuesTest, TemplateReadsEachArgumentWithItsWidth) {
  constexpr long long kWide = 0x1122334455667788;
  EXPECT_EQ(Fill(KAVODB_TYPE_SQLITE,
                 "@KAVO:LLINT '@KAVO:VAR' @KAVO:INT @KAVO:LLINT @KAVO:INT @KAVO:LLINT '@KAVO:VAR'", kWide,
                 "a", 1, kWide, -2, -kWide, "b"),
            "1234605616436508552 'a' 1 1234605616436508552 -2 -1234605616436508552 'b'");
  EXPECT_EQ(Fill(KAVODB_TYPE_SQLITE, "'@KAVO:VAR' @KAVO:LLINT @KAVO:LLINT @KAVO:INT '@KAVO:VAR'", "a", kWide,
                 kWide, 3, "b"),
            "'a' 1234605616436508552 1234605616436508552 3 'b'");
}

// char has a sign on one processor and none on the other.
TEST_F(WideValuesTest, HighBytesAreNoWhiteSpace) {
  for (int byte = 0x80; byte <= 0xff; ++byte) {
    std::string text = std::string(" ") + static_cast<char>(byte) + "\n";
    EXPECT_EQ(std::string(StringTrim(text.data())), std::string(1, static_cast<char>(byte)));
    std::string other = std::string("\t") + static_cast<char>(byte) + " ";
    EXPECT_EQ(RLIBCStrTrimSpace(other.data()), 0);
    EXPECT_EQ(std::string(other.c_str()), std::string(1, static_cast<char>(byte)));
  }
}

TEST_F(WideValuesTest, HighBytesDoNotEndASettingsFile) {
  WriteFile(dir_ / "a.conf", "first=\xff\xfe\x80\nsecond=\xc3\xa4\n");
  char value[16] = "";
  EXPECT_EQ(RLIBCFileGetKeyValue((dir_ / "a.conf").c_str(), "first", value, sizeof value, 0), 3);
  EXPECT_STREQ(value, "\xff\xfe\x80");
  EXPECT_NE(RLIBCFileCheckKeyValue((dir_ / "a.conf").c_str(), "second", "\xc3\xa4", 0), 0);
}

TEST_F(WideValuesTest, HighBytesAreJudgedAsUtf8) {
  EXPECT_NE(RLIBCUnicodeIsUTF8("\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\xb7"), 0);
  for (const char* broken :
       {"\xff", "\x80", "\xc3", "\xe2\x82", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_EQ(RLIBCUnicodeIsUTF8(broken), 0) << broken;
  }
}

TEST_F(WideValuesTest, ExtensionsWithHighBytesAreNoMedia) {
  EXPECT_FALSE(BlKAVOIndexIsPhotoOnWeb("jp\xe7"));
  EXPECT_FALSE(BlKAVOIndexIsVideo("\xff"));
}

}  // namespace
