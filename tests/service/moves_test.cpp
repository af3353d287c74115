// Which differences of a scan are moves, and in which order they can be made.
#include "changes/moves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "files/fingerprint.h"
#include "platform/media_file.h"
#include "support/temp_dir.h"

namespace {

constexpr std::size_t kAlbumNameTooLong = 255;

FileStamp Stamp(std::uint64_t inode, std::int64_t size = 10, std::int64_t birth = 1) {
  FileStamp stamp;
  stamp.inode = inode;
  stamp.birth = birth;
  stamp.size = size;
  stamp.modified = size;
  return stamp;
}

class MovesTest : public testing::Test {
 protected:
  void Gone(const std::string& path, const FileStamp& stamp, const std::string& fingerprint = "") {
    differences_.gone_files.push_back({path, ItemKind::kPhoto, stamp, fingerprint});
  }
  void Replaced(const std::string& path, const FileStamp& stamp) {
    differences_.replaced_files.push_back({path, ItemKind::kPhoto, stamp});
  }
  void Arrived(const std::string& path, const FileStamp& stamp, bool known = false) {
    differences_.files.push_back({path, ItemKind::kPhoto, stamp, known, known});
  }
  std::vector<Move> Files(const StopQuestion& stopped = nullptr) {
    return *TakeFileMoves(differences_, dir_.path(), stopped);
  }

  // "from>to" in their order.
  static std::vector<std::string> Texts(const std::vector<Move>& moves) {
    std::vector<std::string> texts;
    for (const Move& move : moves) texts.push_back(move.from + ">" + move.to);
    return texts;
  }
  // Plays MOVES on names, as the database would: a row that is moved onto another one deletes it.
  static std::map<std::string, std::string> Play(const std::vector<Move>& moves,
                                                 std::map<std::string, std::string> rows) {
    for (const Move& move : moves) {
      const auto row = rows.extract(move.from);
      if (row.empty()) continue;
      rows[move.to] = row.mapped();
    }
    return rows;
  }

  TempDir dir_;
  Differences differences_;
};

using Strings = std::vector<std::string>;
using Rows = std::map<std::string, std::string>;

TEST_F(MovesTest, TheSameObjectUnderAnotherNameIsAMove) {
  Gone("a.jpg", Stamp(1));
  Arrived("b/a.jpg", Stamp(1));
  const auto moves = Files();
  EXPECT_EQ(Texts(moves), Strings({"a.jpg>b/a.jpg"}));
  EXPECT_TRUE(moves.front().same_content);
  EXPECT_TRUE(differences_.files.empty());
  EXPECT_TRUE(differences_.gone_files.empty());
}

TEST_F(MovesTest, OneThatWasWrittenToIsAMoveOfOtherContent) {
  Gone("a.jpg", Stamp(1, 10));
  Arrived("b.jpg", Stamp(1, 11));
  const auto moves = Files();
  ASSERT_EQ(moves.size(), 1U);
  EXPECT_FALSE(moves.front().same_content);
}

TEST_F(MovesTest, AnInodeUsedAgainIsNoMove) {
  Gone("a.jpg", Stamp(1, 10, 1));
  Arrived("b.jpg", Stamp(1, 10, 2));
  EXPECT_TRUE(Files().empty());
  EXPECT_EQ(differences_.gone_files.size(), 1U);
}

TEST_F(MovesTest, WithoutBirthTimesSizeAndTimeDecide) {
  Gone("a.jpg", Stamp(1, 10, 0));
  Gone("b.jpg", Stamp(2, 20, 0));
  Arrived("c.jpg", Stamp(1, 10, 0));
  Arrived("d.jpg", Stamp(2, 21, 0));
  EXPECT_EQ(Texts(Files()), Strings({"a.jpg>c.jpg"}));
}

// Every number of a file system that may be away is used again by the next.
TEST_F(MovesTest, WhatMayBeOutOfReachIsKnownByItsBirthAlone) {
  for (const std::int64_t birth : {0, 7}) {
    differences_ = {};
    FileStamp stamp = Stamp(1);
    stamp.birth = birth;
    Gone("stick/a.jpg", stamp, "same");
    differences_.gone_files.back().elsewhere = true;
    Arrived("b.jpg", stamp);
    EXPECT_EQ(Files().size(), birth != 0 ? 1U : 0U);
  }
}

TEST_F(MovesTest, OtherKindsAndOtherDevicesAreNoMoves) {
  Gone("a.jpg", Stamp(1));
  differences_.files.push_back({"a.mp4", ItemKind::kVideo, Stamp(1)});
  FileStamp elsewhere = Stamp(1);
  elsewhere.device = 5;
  Arrived("b.jpg", elsewhere);
  EXPECT_TRUE(Files().empty());
}

TEST_F(MovesTest, OfSeveralNamesOfOneFileEachKeepsItsOwn) {
  for (const char* name : {"x", "m", "a"}) Gone(std::string("old/") + name + ".jpg", Stamp(1));
  for (const char* name : {"m", "x", "a"}) Arrived(std::string("new/") + name + ".jpg", Stamp(1));
  EXPECT_EQ(Texts(Files()), Strings({"old/m.jpg>new/m.jpg", "old/x.jpg>new/x.jpg", "old/a.jpg>new/a.jpg"}));
}

TEST_F(MovesTest, ACopyOfAGoneFileIsIt) {
  WriteFile(dir_.path() / "copy.jpg", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "copy.jpg"));
  Gone("b.jpg", Stamp(2), "another");
  Arrived("copy.jpg", Stamp(3));
  EXPECT_EQ(Texts(Files()), Strings({"a.jpg>copy.jpg"}));
}

// Whoever asks whether it is to stop serves others, who may hold another folder.
TEST_F(MovesTest, ACopyIsFoundWhateverFolderOthersHeld) {
  const TempDir other;
  WriteFile(dir_.path() / "copy.jpg", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "copy.jpg"));
  Arrived("copy.jpg", Stamp(3));
  const auto stopped = [&] { return KAVOMediaFolderHold(other.path().c_str()) != 0; };
  EXPECT_EQ(Texts(Files(stopped)), Strings({"a.jpg>copy.jpg"}));
  KAVOMediaFolderHold(nullptr);
}

TEST_F(MovesTest, NoFolderIsHeldAfterwards) {
  WriteFile(dir_.path() / "copy.jpg", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "copy.jpg"));
  Arrived("copy.jpg", Stamp(3));
  Files();
  const TempDir other;
  WriteFile(other.path() / "b.jpg", "9876543210");
  EXPECT_NE(Fingerprint(other.path() / "b.jpg"), "") << "it lies in no folder that is held";
}

TEST_F(MovesTest, WithoutTheLibraryNobodyKnowsWhatWasCopied) {
  Gone("a.jpg", Stamp(1), "some");
  Arrived("copy.jpg", Stamp(3));
  const auto moves = TakeFileMoves(differences_, dir_.path() / "nowhere");
  ASSERT_FALSE(moves);
  EXPECT_EQ(moves.failure().message, (dir_.path() / "nowhere").string() + ": No such file or directory");
}

TEST_F(MovesTest, ACopyOfAnotherKindIsAnother) {
  WriteFile(dir_.path() / "copy.mp4", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "copy.mp4"));
  differences_.files.push_back({"copy.mp4", ItemKind::kVideo, Stamp(3)});
  EXPECT_TRUE(Files().empty());
}

TEST_F(MovesTest, AFileThatMovedIsNotItsCopyToo) {
  WriteFile(dir_.path() / "copy.jpg", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "copy.jpg"));
  Arrived("b.jpg", Stamp(1));
  Arrived("copy.jpg", Stamp(3));
  EXPECT_EQ(Texts(Files()), Strings({"a.jpg>b.jpg"}));
}

TEST_F(MovesTest, ACopyOfAFileThatIsStillThereIsAnother) {
  WriteFile(dir_.path() / "copy.jpg", "0123456789");
  Arrived("copy.jpg", Stamp(3));
  EXPECT_TRUE(Files().empty());
}

TEST_F(MovesTest, ACopyUnderARecordedNameIsAChangeOfThat) {
  WriteFile(dir_.path() / "b.jpg", "0123456789");
  Gone("a.jpg", Stamp(1), Fingerprint(dir_.path() / "b.jpg"));
  Arrived("b.jpg", Stamp(3), true);
  EXPECT_TRUE(Files().empty());
}

TEST_F(MovesTest, WhereOnlyTheDatabaseTellsNameAndSizeDecide) {
  for (const char* path : {"a/one.jpg", "a/two.jpg", "b/two.jpg"})
    differences_.gone_files.push_back({path, ItemKind::kPhoto, Stamp(0, 10, 0), "", ItemOutcome::kPartial});
  Arrived("c/one.jpg", Stamp(5));
  Arrived("c/two.jpg", Stamp(6));
  Arrived("d/one.jpg", Stamp(7, 11));
  EXPECT_EQ(Texts(Files()), Strings({"a/one.jpg>c/one.jpg"})) << "two.jpg may be either";
}

TEST_F(MovesTest, OfTwoWithTheNameAndSizeOfAGoneOneNeitherIsIt) {
  differences_.gone_files.push_back(
      {"a/one.jpg", ItemKind::kPhoto, Stamp(0, 10, 0), "", ItemOutcome::kPartial});
  Arrived("b/one.jpg", Stamp(5));
  Arrived("c/one.jpg", Stamp(6));
  EXPECT_TRUE(Files().empty());
}

TEST_F(MovesTest, AChainIsMadeFromItsEnd) {
  Gone("a", Stamp(1));
  Replaced("b", Stamp(2));
  Replaced("c", Stamp(3));
  Arrived("b", Stamp(1), true);
  Arrived("c", Stamp(2), true);
  Arrived("d", Stamp(3));
  const auto moves = Files();
  EXPECT_EQ(Texts(moves), Strings({"c>d", "b>c", "a>b"}));
  EXPECT_TRUE(moves[0].step < moves[1].step && moves[1].step < moves[2].step);
}

TEST_F(MovesTest, ARingIsOpenedUnderAHiddenName) {
  for (const char* name : {"a", "b", "c"}) Replaced(name, Stamp(static_cast<unsigned char>(*name)));
  Arrived("b", Stamp('a'), true);
  Arrived("c", Stamp('b'), true);
  Arrived("a", Stamp('c'), true);
  const auto moves = Files();
  ASSERT_EQ(moves.size(), 4U);
  EXPECT_TRUE(moves.front().parks_rows);
  EXPECT_TRUE(moves.front().to.starts_with(".lumivault-moving-")) << moves.front().to;
  EXPECT_EQ(Play(moves, {{"a", "A"}, {"b", "B"}, {"c", "C"}}), Rows({{"a", "C"}, {"b", "A"}, {"c", "B"}}));
}

TEST_F(MovesTest, RingsOfLinksToOneFileWaitUnderDifferentNames) {
  for (const char* name : {"a", "c"}) Replaced(name, Stamp(1));
  for (const char* name : {"b", "d"}) Replaced(name, Stamp(2));
  for (const char* name : {"a", "c"}) Arrived(name, Stamp(2), true);
  for (const char* name : {"b", "d"}) Arrived(name, Stamp(1), true);
  const auto rows = Play(Files(), {{"a", "1"}, {"b", "2"}, {"c", "1"}, {"d", "2"}});
  EXPECT_EQ(rows, Rows({{"a", "2"}, {"b", "1"}, {"c", "2"}, {"d", "1"}}));
}

TEST_F(MovesTest, ANameUnderWhichRowsWaitIsNotUsedAgain) {
  const auto swap = [&] {
    for (const char* name : {"a", "b"}) Replaced(name, Stamp(static_cast<unsigned char>(*name)));
    Arrived("b", Stamp('a'), true);
    Arrived("a", Stamp('b'), true);
    return Files().front().to;
  };
  const std::string first = swap();
  differences_ = {};
  Gone(first, Stamp(99));
  EXPECT_NE(swap(), first);
}

class FolderMovesTest : public MovesTest {
 protected:
  void GoneFolder(const std::string& path, std::uint64_t inode) {
    differences_.gone_folders.push_back({path, ItemKind::kFolder, Stamp(inode)});
  }
  void ArrivedFolder(const std::string& path, std::uint64_t inode, bool known = false) {
    differences_.folders.push_back({path, ItemKind::kFolder, Stamp(inode), known, known});
  }
};

TEST_F(FolderMovesTest, AFolderMovesWithWhatIsBelowIt) {
  GoneFolder("a", 1);
  GoneFolder("a/b", 2);
  ArrivedFolder("c", 1);
  ArrivedFolder("c/b", 2);
  EXPECT_EQ(Texts(TakeFolderMoves(differences_)), Strings({"a>c", "a/b>c/b"}));
  EXPECT_TRUE(differences_.gone_folders.empty());
}

TEST_F(FolderMovesTest, NotToANameThatIsRecorded) {
  GoneFolder("a", 1);
  ArrivedFolder("c", 1, true);
  EXPECT_TRUE(TakeFolderMoves(differences_).empty()) << "everything below it would be cleared";
  EXPECT_EQ(differences_.gone_folders.size(), 1U);
}

TEST_F(FolderMovesTest, NotToANameThatNoAlbumCanHave) {
  GoneFolder("a", 1);
  GoneFolder("b", 2);
  ArrivedFolder(std::string(kAlbumNameTooLong, 'x'), 1);
  ArrivedFolder("\xff", 2);
  EXPECT_TRUE(TakeFolderMoves(differences_).empty());
  EXPECT_EQ(differences_.gone_folders.size(), 2U);
}

}  // namespace
