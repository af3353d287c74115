// What becomes of rows when a change of them is refused, or a run ends in the middle: nothing that hangs on
// them is lost, and a later run makes them true.
#include "changes/catalogue.h"
#include "support/library_rows.h"
#include "support/media_maker.h"

namespace fs = std::filesystem;

namespace {

constexpr int kSomeFailed = 3;

class RefusedChangesTest : public LibraryRowsTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 16, 8);
    MakeJpeg(File("b.jpg"), 24, 8);
    MakeJpeg(File("trip/t.jpg"), 32, 8);
    Index();
    NamePerson("a.jpg", "Ann");
    NamePerson("b.jpg", "Bob");
    NamePerson("trip/t.jpg", "Tom");
    ids_ = {{"Ann", IdOf("a.jpg")}, {"Bob", IdOf("b.jpg")}, {"Tom", IdOf("trip/t.jpg")}};
  }

  // The database does nothing when EVENT happens, and says that it did.
  void Ignore(const std::string& event) {
    Environment("LD_PRELOAD", REFUSING_TRIGGERS);
    Environment("TRIGGER_AT_OPEN",
                "CREATE TEMP TRIGGER refusal BEFORE " + event + " BEGIN SELECT RAISE(IGNORE); END");
  }
  void IgnoreMovesOf(const std::string& path) {
    Ignore("UPDATE OF path ON photo_image WHEN OLD.path = '" + path + "'");
  }
  void Relent() { Environment("LD_PRELOAD", ""); }

  void ExpectPerson(const std::string& path, const std::string& person) const {
    EXPECT_EQ(IdOf(path), ids_.at(person)) << path;
    EXPECT_EQ(PersonOn(path), person) << path;
  }
  int Reindex() { return Run({"reindex", folder(), "--quiet"}).status; }
  // The catalogue of the library, as a run that ended early would have left it.
  Catalogue OpenCatalogue() const {
    const auto library = *fs::directory_iterator(state() / "libraries");
    return std::move(*Catalogue::Open(library.path() / "catalogue.db"));
  }
  static CatalogueEntry FolderEntry(Catalogue& catalogue, const std::string& path) {
    for (const CatalogueEntry& folder : catalogue.Folders()) {
      if (folder.path == path) return folder;
    }
    ADD_FAILURE() << path;
    return {};
  }

  std::map<std::string, std::string> ids_;
};

TEST_F(RefusedChangesTest, AMoveIsMadeByTheNextRun) {
  fs::rename(File("b.jpg"), File("c.jpg"));
  IgnoreMovesOf("b.jpg");
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "c.jpg"), "the plug-in gave no reason");
  ExpectPerson("b.jpg", "Bob");
  Relent();
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  ExpectPerson("c.jpg", "Bob");
}

TEST_F(RefusedChangesTest, WhatWouldTakeTheNameWaits) {
  fs::rename(File("b.jpg"), File("c.jpg"));
  fs::rename(File("a.jpg"), File("b.jpg"));
  IgnoreMovesOf("b.jpg");
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "b.jpg"), "waits for what could not be done in this run");
  ExpectPerson("a.jpg", "Ann");
  ExpectPerson("b.jpg", "Bob");
  Relent();
  Index();
  ExpectPerson("b.jpg", "Ann");
  ExpectPerson("c.jpg", "Bob");
}

TEST_F(RefusedChangesTest, ARingStaysClosed) {
  fs::rename(File("a.jpg"), File("tmp"));
  fs::rename(File("b.jpg"), File("a.jpg"));
  fs::rename(File("tmp"), File("b.jpg"));
  Ignore("UPDATE OF path ON photo_image");
  Index({}, kSomeFailed);
  ExpectPerson("a.jpg", "Ann");
  ExpectPerson("b.jpg", "Bob");
  Relent();
  Index();
  ExpectPerson("a.jpg", "Bob");
  ExpectPerson("b.jpg", "Ann");
}

TEST_F(RefusedChangesTest, ANewFileUnderTheOldNameWaits) {
  fs::rename(File("b.jpg"), File("c.jpg"));
  MakeJpeg(File("b.jpg"), 80, 8);
  IgnoreMovesOf("b.jpg");
  Index({}, kSomeFailed);
  Relent();
  Index();
  ExpectPerson("c.jpg", "Bob");
  EXPECT_EQ(PersonOn("b.jpg"), "");
  EXPECT_EQ(Value("SELECT resolutionx FROM photo_image WHERE path = 'b.jpg'"), "80");
}

TEST_F(RefusedChangesTest, AReindexSweepsNothingThatCouldNotMove) {
  fs::rename(File("b.jpg"), File("c.jpg"));
  IgnoreMovesOf("b.jpg");
  EXPECT_EQ(Reindex(), kSomeFailed);
  ExpectPerson("b.jpg", "Bob");
  Relent();
  EXPECT_EQ(Reindex(), 0);
  ExpectPerson("c.jpg", "Bob");
  EXPECT_EQ(Count(), "3");
}

TEST_F(RefusedChangesTest, TheFilesOfAFolderWaitForItsAlbum) {
  const std::string album = AlbumId("trip");
  fs::rename(File("trip"), File("holiday"));
  Ignore("UPDATE OF sharename ON photo_share");
  Index({}, kSomeFailed);
  ExpectPerson("trip/t.jpg", "Tom");
  EXPECT_EQ(AlbumId("trip"), album);
  Relent();
  Index();
  ExpectPerson("holiday/t.jpg", "Tom");
  EXPECT_EQ(AlbumId("holiday"), album);
  EXPECT_EQ(Value("SELECT shareid FROM photo_image WHERE path = 'holiday/t.jpg'"), album);
}

TEST_F(RefusedChangesTest, TheFolderOfAFileThatCouldNotMoveIsNotCleared) {
  fs::rename(File("trip/t.jpg"), File("t2.jpg"));
  fs::remove(File("trip"));
  IgnoreMovesOf("trip/t.jpg");
  Index({}, kSomeFailed);
  ExpectPerson("trip/t.jpg", "Tom");
  Relent();
  Index();
  ExpectPerson("t2.jpg", "Tom");
  EXPECT_EQ(AlbumId("trip"), "");
}

TEST_F(RefusedChangesTest, NoFolderAboveAFileThatCouldNotMoveIsCleared) {
  fs::create_directory(File("trip/deep"));
  fs::rename(File("trip/t.jpg"), File("trip/deep/t.jpg"));
  Index();
  fs::rename(File("trip/deep/t.jpg"), File("t2.jpg"));
  fs::remove_all(File("trip"));
  IgnoreMovesOf("trip/deep/t.jpg");
  Index({}, kSomeFailed);
  ExpectPerson("trip/deep/t.jpg", "Tom");
  Relent();
  Index();
  ExpectPerson("t2.jpg", "Tom");
  EXPECT_EQ(AlbumId("trip"), "");
}

TEST_F(RefusedChangesTest, AReindexDoesNotClearTheFolderOfAFileThatCouldNotMove) {
  fs::rename(File("trip/t.jpg"), File("t2.jpg"));
  fs::remove(File("trip"));
  IgnoreMovesOf("trip/t.jpg");
  EXPECT_EQ(Reindex(), kSomeFailed);
  ExpectPerson("trip/t.jpg", "Tom");
  EXPECT_NE(AlbumId("trip"), "");
  Relent();
  Index();
  ExpectPerson("t2.jpg", "Tom");
  EXPECT_EQ(AlbumId("trip"), "");
}

TEST_F(RefusedChangesTest, OtherFoldersThatWentGoAllTheSame) {
  MakeJpeg(File("other/o.jpg"), 40, 8);
  Index();
  fs::rename(File("trip/t.jpg"), File("t2.jpg"));
  fs::remove(File("trip"));
  fs::remove_all(File("other"));
  IgnoreMovesOf("trip/t.jpg");
  Index({}, kSomeFailed);
  EXPECT_NE(AlbumId("trip"), "");
  EXPECT_EQ(AlbumId("other"), "");
}

// The tool that the plug-in starts for the new photo makes the folder, before the deletes are sent.
TEST_F(RefusedChangesTest, AFolderThatIsBackBeforeItsDeleteIsKept) {
  const std::string album = AlbumId("trip");
  fs::remove_all(File("trip"));
  MakeJpeg(File("new.jpg"), 40, 8);
  UsePreviewTool("mkdir '" + File("trip").string() + "'");
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "trip"), "the folder is there again");
  EXPECT_EQ(AlbumId("trip"), album);
}

TEST_F(RefusedChangesTest, ADeleteIsMadeByTheNextRun) {
  fs::remove(File("a.jpg"));
  Ignore("DELETE ON photo_image");
  EXPECT_EQ(FailureOf(Index({}, kSomeFailed), "a.jpg"), "the plug-in gave no reason");
  Relent();
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
  EXPECT_EQ(IdOf("a.jpg"), "");
}

TEST_F(RefusedChangesTest, AReindexForgetsNoRowThatItCouldNotDelete) {
  fs::remove(File("a.jpg"));
  WriteFile(File("b.jpg"), "this was a picture");  // keeps the sweep away
  Ignore("DELETE ON photo_image");
  EXPECT_EQ(Reindex(), kSomeFailed);
  Relent();
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
  EXPECT_EQ(IdOf("a.jpg"), "");
}

TEST_F(RefusedChangesTest, TheAlbumOfTheLibraryIsNeverSwept) {
  Ignore("UPDATE ON photo_share WHEN OLD.sharename = '/' AND NEW.updated = '1'");
  EXPECT_EQ(Reindex(), 0);
  EXPECT_EQ(AlbumId("/"), "1");
}

TEST_F(RefusedChangesTest, ARunThatEndedBetweenAFolderAndItsFilesIsMadeUpFor) {
  fs::rename(File("trip"), File("holiday"));
  Query("UPDATE photo_share SET sharename = 'holiday' WHERE sharename = 'trip'");
  {
    Catalogue catalogue = OpenCatalogue();
    CatalogueEntry moved = FolderEntry(catalogue, "trip");
    catalogue.Remove("trip", ItemKind::kFolder);
    moved.path = "holiday";
    catalogue.Put(moved);
  }
  Index();
  ExpectPerson("holiday/t.jpg", "Tom");
  EXPECT_EQ(Count(), "3");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

// a.jpg and b.jpg take each other's names, and the run that parks the rows of b.jpg for it ends.
class ParkedRowsTest : public RefusedChangesTest {
 protected:
  void SetUp() override {
    RefusedChangesTest::SetUp();
    fs::rename(File("a.jpg"), File("tmp"));
    fs::rename(File("b.jpg"), File("a.jpg"));
    fs::rename(File("tmp"), File("b.jpg"));
    const std::string hidden = ".lumivault-moving-1-0.jpg";
    Query("UPDATE photo_image SET path = '" + hidden + "' WHERE path = 'b.jpg'");
    Catalogue catalogue = OpenCatalogue();
    for (CatalogueEntry entry : catalogue.Files("", "")) {
      if (entry.path != "b.jpg") continue;
      entry.path = hidden;
      entry.outcome = ItemOutcome::kPlanned;
      catalogue.Put(entry);
    }
  }
};

TEST_F(ParkedRowsTest, TheNextRunTakesItFromThere) {
  Index();
  ExpectPerson("a.jpg", "Bob");
  ExpectPerson("b.jpg", "Ann");
  EXPECT_EQ(Count(), "3");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

TEST_F(ParkedRowsTest, WhatTookItsNameMayGoMeanwhile) {
  fs::remove(File("b.jpg"));
  Index();
  ExpectPerson("a.jpg", "Bob");
  EXPECT_EQ(Count(), "2");
}

TEST_F(RefusedChangesTest, AFolderThatTookTheNameOfAPhotoLeavesNoRow) {
  fs::remove(File("a.jpg"));
  MakeJpeg(File("a.jpg/inside.jpg"), 8, 8);
  Index();
  EXPECT_EQ(IdOf("a.jpg"), "");
  EXPECT_NE(IdOf("a.jpg/inside.jpg"), "");
  EXPECT_EQ(Count(), "3");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

TEST_F(RefusedChangesTest, WithoutTheCatalogueNameAndSizeTellAMove) {
  fs::remove_all(state() / "libraries");
  fs::create_directory(File("new"));
  fs::rename(File("trip/t.jpg"), File("new/t.jpg"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  ExpectPerson("new/t.jpg", "Tom");
}

TEST_F(RefusedChangesTest, AFolderWhoseNameIsTooLongForAnAlbumConverges) {
  const std::string deep = std::string(200, 'd') + "/" + std::string(60, 'e');
  fs::create_directory(File(std::string(200, 'd')));
  fs::rename(File("trip"), File(deep));
  Index();
  ExpectPerson(deep + "/t.jpg", "Tom");
  EXPECT_EQ(AlbumId("trip"), "");
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
  fs::rename(File(deep), File("back"));
  Index();
  ExpectPerson("back/t.jpg", "Tom");
  EXPECT_NE(AlbumId("back"), "");
  EXPECT_EQ(Value("SELECT shareid FROM photo_image WHERE path = 'back/t.jpg'"), AlbumId("back"));
  EXPECT_EQ(Index()["unchanged"].asInt(), 3);
}

}  // namespace
