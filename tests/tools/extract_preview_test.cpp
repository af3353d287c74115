// The program as the plug-in starts it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "support/media_maker.h"
#include "support/service_test.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array kNames = {"KAVOPHOTO_THUMB_XL.jpg", "KAVOPHOTO_THUMB_B.jpg", "KAVOPHOTO_THUMB_M.jpg",
                               "KAVOPHOTO_THUMB_S.jpg"};

class ExtractPreviewTest : public testing::Test {
 protected:
  RunResult Extract(const std::vector<std::string>& arguments) const {
    return ProgramRun(arguments, dir_ / "run", {}, std::nullopt, LUMIVAULT_PREVIEW_TOOL).Wait();
  }
  RunResult ExtractFile(const std::string& name) const { return Extract({dir_ / name}); }
  fs::path Side(const std::string& name) const { return dir_.path() / "@eaDir" / name; }
  std::size_t FilesIn(const fs::path& folder) const {
    std::error_code error;
    const auto entries = fs::recursive_directory_iterator(folder, error);
    return static_cast<std::size_t>(std::count_if(begin(entries), end(entries),
                                                  [](const auto& entry) { return entry.is_regular_file(); }));
  }
  void ExpectRefused(const std::string& name, const std::string& why) {
    const RunResult result = ExtractFile(name);
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "kavophoto_extract_preview: " + (dir_.path() / name).string() + ": " + why + "\n");
    EXPECT_EQ(FilesIn(dir_ / "@eaDir"), 0U) << name;
  }

  TempDir dir_;
};

// An 8-bit picture of so many pixels, as its header says.
std::string PngOfSize(std::uint32_t width, std::uint32_t height) {
  std::string header = "IHDR";
  for (const std::uint32_t number : {width, height}) {
    for (const int shift : {24, 16, 8, 0}) header += static_cast<char>(number >> shift);
  }
  header += std::string("\x08\x02\0\0\0", 5);
  std::uint32_t crc = ~0U;
  for (const char byte : header) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0U);
  }
  std::string png = std::string("\x89PNG\r\n\x1a\n\0\0\0\x0d", 12) + header;
  for (const int shift : {24, 16, 8, 0}) png += static_cast<char>(~crc >> shift);
  return png + std::string("\0\0\0\0IDAT", 8);
}

TEST_F(ExtractPreviewTest, PutsAllSizesIntoTheSideFolder) {
  MakeJpeg(dir_ / "a.jpg", 400, 300);
  const RunResult result = ExtractFile("a.jpg");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out + result.err, "");
  for (const char* name : kNames)
    EXPECT_EQ(ReadFile(Side("a.jpg") / name).substr(0, 3), "\xff\xd8\xff") << name;
  EXPECT_EQ(FilesIn(dir_ / "@eaDir"), kNames.size());
}

TEST_F(ExtractPreviewTest, ReplacesOlderOnes) {
  MakeJpeg(dir_ / "a.jpg", 400, 300);
  ASSERT_EQ(ExtractFile("a.jpg").status, 0);
  const std::string before = ReadFile(Side("a.jpg") / kNames[0]);
  MakeJpeg(dir_ / "a.jpg", 300, 400);
  ASSERT_EQ(ExtractFile("a.jpg").status, 0);
  EXPECT_NE(ReadFile(Side("a.jpg") / kNames[0]), before);
  EXPECT_EQ(FilesIn(dir_ / "@eaDir"), kNames.size());
}

TEST_F(ExtractPreviewTest, BadInputIsOneLineAndLeavesNothing) {
  WriteFile(dir_ / "empty.jpg", "");
  WriteFile(dir_ / "new\nline.jpg", "text");
  ASSERT_EQ(mkfifo((dir_ / "fifo.jpg").c_str(), 0600), 0);
  WriteFile(dir_ / "bomb.png", PngOfSize(100'000, 100'000));
  ExpectRefused("empty.jpg", "the file is empty");
  ExpectRefused("missing.jpg", "No such file or directory");
  ExpectRefused("fifo.jpg", "not a regular file");
  ExpectRefused("bomb.png", "the picture is too large");
  const RunResult hostile = ExtractFile("new\nline.jpg");
  EXPECT_EQ(hostile.err, "kavophoto_extract_preview: " + (dir_.path() / "new\\nline.jpg").string() +
                             ": it is of no known format\n");
  EXPECT_EQ(Extract({}).status, 2);
  EXPECT_EQ(Extract({"a", "b"}).err, "usage: kavophoto_extract_preview FILE\n");
}

// Whoever put it there decides nothing about other folders.
TEST_F(ExtractPreviewTest, ASideFolderThatIsALinkIsNotFollowed) {
  MakeJpeg(dir_ / "a.jpg", 40, 30);
  fs::create_directories(dir_ / "elsewhere/a.jpg");
  fs::create_directory_symlink(dir_ / "elsewhere", dir_ / "@eaDir");
  EXPECT_EQ(ExtractFile("a.jpg").status, 1);
  EXPECT_EQ(FilesIn(dir_ / "elsewhere"), 0U);
  fs::remove(dir_ / "@eaDir");
  fs::create_directory(dir_ / "@eaDir");
  fs::create_directory_symlink(dir_ / "elsewhere/a.jpg", Side("a.jpg"));
  EXPECT_EQ(ExtractFile("a.jpg").status, 1);
  EXPECT_EQ(FilesIn(dir_ / "elsewhere"), 0U);
}

TEST_F(ExtractPreviewTest, APictureThatIsALinkIsReplacedAndNotWrittenThrough) {
  MakeJpeg(dir_ / "a.jpg", 40, 30);
  WriteFile(dir_ / "other", "mine");
  fs::create_directories(Side("a.jpg"));
  for (const std::string name : {"KAVOPHOTO_THUMB_XL.jpg", ".KAVOPHOTO_THUMB_XL.jpg.new"})
    fs::create_symlink(dir_ / "other", Side("a.jpg") / name);
  EXPECT_EQ(ExtractFile("a.jpg").status, 0);
  EXPECT_EQ(ReadFile(dir_ / "other"), "mine");
  EXPECT_FALSE(fs::is_symlink(Side("a.jpg") / kNames[0]));
}

TEST_F(ExtractPreviewTest, WhoMayReadThePhotoMayReadItsPreviewsAndNobodyElse) {
  MakeJpeg(dir_ / "a.jpg", 40, 30);
  for (const mode_t mode : {mode_t{0600}, mode_t{0640}, mode_t{0777}}) {
    ASSERT_EQ(chmod((dir_ / "a.jpg").c_str(), mode), 0);
    ASSERT_EQ(ExtractFile("a.jpg").status, 0);
    for (const char* name : kNames) {
      struct stat status {};
      ASSERT_EQ(stat((Side("a.jpg") / name).c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 07777U, mode & 0666U) << name;
    }
  }
}

// The link would show in one person's folder what another keeps for himself.
TEST_F(ExtractPreviewTest, RootGoesOnAsTheFoldersOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files to several people";
  constexpr uid_t kOwner = 20'001;
  constexpr uid_t kOther = 20'002;
  fs::permissions(dir_.path(), fs::perms(0755));
  const fs::path photos = dir_.path() / "photos";
  MakeJpeg(photos / "own.jpg", 40, 30);
  MakeJpeg(dir_.path() / "secret.jpg", 40, 30);
  fs::create_symlink(dir_.path() / "secret.jpg", photos / "link.jpg");
  for (const fs::path& owned : {photos, photos / "own.jpg"})
    ASSERT_EQ(chown(owned.c_str(), kOwner, kOwner), 0);
  ASSERT_EQ(chown((dir_ / "secret.jpg").c_str(), kOther, kOther), 0);
  fs::permissions(dir_.path() / "secret.jpg", fs::perms(0600));
  EXPECT_EQ(Extract({photos / "link.jpg"}).err,
            "kavophoto_extract_preview: " + (photos / "link.jpg").string() + ": Permission denied\n");
  ASSERT_EQ(Extract({photos / "own.jpg"}).status, 0);
  struct stat status {};
  ASSERT_EQ(stat((photos / "@eaDir/own.jpg" / kNames[0]).c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kOwner);
}

TEST_F(ExtractPreviewTest, AFolderThatIsKeptLockedIsNotWaitedForLong) {
  MakeJpeg(dir_ / "a.jpg", 40, 30);
  fs::create_directories(Side("a.jpg"));
  const FileDescriptor held(open(Side("a.jpg").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  ExpectRefused("a.jpg", "its side folder is kept locked");
}

// Killed at any moment it leaves the old picture or the new one.
TEST_F(ExtractPreviewTest, AKillLeavesNoPartOfAPicture) {
  MakeJpeg(dir_ / "a.jpg", 2000, 1500);
  ASSERT_EQ(ExtractFile("a.jpg").status, 0);
  const std::string whole = ReadFile(Side("a.jpg") / kNames[0]);
  constexpr int kKills = 50;
  constexpr std::chrono::microseconds kStep{2'500};
  for (int kill = 0; kill < kKills; ++kill) {
    fs::remove(Side("a.jpg") / kNames[0]);
    ProgramRun run({dir_ / "a.jpg"}, dir_ / "run", {}, std::nullopt, LUMIVAULT_PREVIEW_TOOL);
    std::this_thread::sleep_for(kStep * kill);
    run.Signal(SIGKILL);
    run.Wait();
    const fs::path largest = Side("a.jpg") / kNames[0];
    EXPECT_TRUE(!fs::exists(largest) || ReadFile(largest) == whole) << kill;
  }
  EXPECT_EQ(ExtractFile("a.jpg").status, 0);
  EXPECT_EQ(FilesIn(dir_ / "@eaDir"), kNames.size());
}

// A third of them, for each costs the start of a program.
TEST_F(ExtractPreviewTest, SharedFilesEndInALineOrInPictures) {
  if (SharedPhotos().empty()) GTEST_SKIP() << "the shared photos are not here";
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(SharedPhotos())) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::size_t made = 0;
  for (std::size_t index = 0; index < files.size(); index += 3) {
    const std::string name = "shared" + files[index].extension().string();
    fs::copy_file(files[index], dir_ / name, fs::copy_options::overwrite_existing);
    const RunResult result = ExtractFile(name);
    EXPECT_EQ(result.status == 0, result.err.empty()) << files[index] << result.err;
    EXPECT_LE(result.status, 1) << files[index];
    EXPECT_LE(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(FilesIn(dir_ / "@eaDir"), result.status == 0 ? kNames.size() : 0U) << files[index];
    made += result.status == 0 ? 1 : 0;
    fs::remove(dir_ / name);
    fs::remove_all(dir_ / "@eaDir");
  }
  EXPECT_GE(made, files.size() / 3 * 2 / 3);
}

}  // namespace
