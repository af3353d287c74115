#include "platform/side_file_lending.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "platform/substitute_loan.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kItem = "KAVOPHOTO:GPS";

class SideFileLendingTest : public testing::Test {
 protected:
  SideFileLendingTest() {
    fs::create_directories(root());
    WriteFile(root() / "a.mp4", "a video");
  }
  ~SideFileLendingTest() override {
    KAVOSideFileLendEnd();
    KAVODBLendEnd();
  }

  fs::path root() const { return dir_.path() / "photo"; }
  std::string video() const { return root() / "a.mp4"; }
  fs::path SideFile() const { return root() / "@eaDir/a.mp4" / kItem; }

  void Lend(const std::string& text = "lent") const {
    ASSERT_EQ(KAVOSideFileLend(video().c_str(), kItem, text.c_str()), 0);
  }
  bool Exists() const { return KAVOBeneathExist(root().c_str(), SideFile().c_str()) != 0; }
  int Remove() const { return KAVOBeneathRemove(root().c_str(), SideFile().c_str()); }
  // "-" when it cannot be opened.
  std::string Text() const {
    const FileDescriptor file(KAVOBeneathOpen(root().c_str(), SideFile().c_str()));
    if (!file) return "-";
    std::string text;
    std::array<char, 8192> buffer{};
    for (ssize_t count = 0; (count = read(file.get(), buffer.data(), buffer.size())) > 0;)
      text.append(buffer.data(), static_cast<std::size_t>(count));
    return text;
  }

  void BeginBatch() {
    LendSubstitute(loan_);
    ASSERT_EQ(KAVODBBatchBegin(), 0);
  }

 private:
  TempDir dir_;
  LoanScript loan_;
};

TEST_F(SideFileLendingTest, ItsFolderIsNotGoneWhileItIsLent) {
  const std::string folder = SideFile().parent_path();
  EXPECT_NE(KAVOBeneathFolderGone(root().c_str(), folder.c_str()), 0);
  Lend();
  EXPECT_EQ(KAVOBeneathFolderGone(root().c_str(), folder.c_str()), 0);
  EXPECT_NE(KAVOBeneathFolderGone(root().c_str(), (folder + "x").c_str()), 0);
  ASSERT_EQ(Remove(), 0);
  EXPECT_NE(KAVOBeneathFolderGone(root().c_str(), folder.c_str()), 0);
}

TEST_F(SideFileLendingTest, NothingIsThereUntilItIsLent) {
  EXPECT_FALSE(Exists());
  EXPECT_EQ(Text(), "-");
  EXPECT_EQ(Remove(), -1);
}

TEST_F(SideFileLendingTest, IsReadAsOftenAsItIsOpened) {
  Lend("a line\nand another");
  EXPECT_TRUE(Exists());
  EXPECT_EQ(Text(), "a line\nand another");
  EXPECT_EQ(Text(), "a line\nand another");
}

TEST_F(SideFileLendingTest, NothingIsWritten) {
  Lend();
  EXPECT_EQ(Text(), "lent");
  EXPECT_EQ(Remove(), 0);
  EXPECT_FALSE(fs::exists(root() / "@eaDir"));
}

TEST_F(SideFileLendingTest, ItsRemovalTakesIt) {
  Lend();
  EXPECT_EQ(Remove(), 0);
  EXPECT_FALSE(Exists());
  EXPECT_EQ(Text(), "-");
  EXPECT_EQ(Remove(), -1);
}

TEST_F(SideFileLendingTest, ItsRemovalInABatchTakesItToo) {
  BeginBatch();
  Lend();
  EXPECT_EQ(Remove(), 0);
  EXPECT_FALSE(Exists());
  EXPECT_EQ(Session::OfThread().pending()->count(), 0U);
}

TEST_F(SideFileLendingTest, EndTakesIt) {
  Lend();
  KAVOSideFileLendEnd();
  EXPECT_FALSE(Exists());
  EXPECT_EQ(Text(), "-");
  KAVOSideFileLendEnd();
}

TEST_F(SideFileLendingTest, ARealFileComesFirst) {
  WriteFile(SideFile(), "real");
  Lend();
  EXPECT_TRUE(Exists());
  EXPECT_EQ(Text(), "real");
  EXPECT_EQ(Remove(), 0);
  EXPECT_FALSE(fs::exists(SideFile()));
}

TEST_F(SideFileLendingTest, WhatIsReadInItsPlaceTakesItAway) {
  WriteFile(SideFile(), "real");
  Lend();
  EXPECT_EQ(Text(), "real");
  EXPECT_EQ(Remove(), 0);
  EXPECT_FALSE(Exists());
}

TEST_F(SideFileLendingTest, ARealFileThatABatchHasTakenIsNotReplaced) {
  WriteFile(SideFile(), "real");
  BeginBatch();
  EXPECT_EQ(Remove(), 0);
  Lend();
  EXPECT_FALSE(Exists());
}

TEST_F(SideFileLendingTest, ALinkInItsPlaceIsNotFollowed) {
  fs::create_directories(SideFile().parent_path());
  WriteFile(root().parent_path() / "secret", "secret");
  fs::create_symlink(root().parent_path() / "secret", SideFile());
  Lend();
  EXPECT_EQ(Text(), "lent");
  EXPECT_EQ(Remove(), 0);
  EXPECT_TRUE(fs::is_symlink(SideFile()));
}

TEST_F(SideFileLendingTest, OtherPathsHaveNone) {
  Lend();
  const std::string other = root() / "@eaDir/b.mp4" / kItem;
  const std::string underscore = root() / "@eaDir/a.mp4/KAVOPHOTO_GPS";
  for (const std::string& path : {other, underscore}) {
    EXPECT_EQ(KAVOBeneathExist(root().c_str(), path.c_str()), 0) << path;
    EXPECT_EQ(KAVOBeneathOpen(root().c_str(), path.c_str()), -1) << path;
  }
  EXPECT_TRUE(Exists());
}

TEST_F(SideFileLendingTest, OtherRootsHaveNone) {
  Lend();
  const std::string other = root().parent_path() / "other";
  fs::create_directories(other);
  EXPECT_EQ(KAVOBeneathExist(other.c_str(), SideFile().c_str()), 0);
  EXPECT_EQ(KAVOBeneathOpen(other.c_str(), SideFile().c_str()), -1);
}

TEST_F(SideFileLendingTest, OtherThreadsHaveNone) {
  Lend();
  std::thread([&] {
    EXPECT_FALSE(Exists());
    KAVOSideFileLendEnd();
  }).join();
  EXPECT_TRUE(Exists());
}

TEST_F(SideFileLendingTest, TheLatestIsLent) {
  Lend("first");
  Lend("second");
  EXPECT_EQ(Text(), "second");
  EXPECT_EQ(KAVOSideFileLend((root() / "b.mp4").c_str(), kItem, "third"), 0);
  EXPECT_FALSE(Exists());
}

TEST_F(SideFileLendingTest, ALongTextIsRefusedAndNothingStaysLent) {
  Lend(std::string(4096, 'x'));
  EXPECT_EQ(Text().size(), 4096U);
  EXPECT_EQ(KAVOSideFileLend(video().c_str(), kItem, std::string(4097, 'x').c_str()), -1);
  EXPECT_FALSE(Exists());
}

TEST_F(SideFileLendingTest, MissingArgumentsAreRefused) {
  EXPECT_EQ(KAVOSideFileLend(nullptr, kItem, "x"), -1);
  EXPECT_EQ(KAVOSideFileLend("", kItem, "x"), -1);
  EXPECT_EQ(KAVOSideFileLend(video().c_str(), nullptr, "x"), -1);
  EXPECT_EQ(KAVOSideFileLend(video().c_str(), kItem, nullptr), -1);
  EXPECT_EQ(KAVOSideFileLend(("/" + std::string(4090, 'x')).c_str(), kItem, "x"), -1);
  EXPECT_FALSE(Exists());
}

}  // namespace
