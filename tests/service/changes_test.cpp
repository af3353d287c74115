// What a second run makes of what happened to a folder while nothing was running.
#include <sys/stat.h>

#include "support/hostile_names.h"
#include "support/library_rows.h"
#include "support/media_maker.h"
#include "support/open_watch.h"

namespace fs = std::filesystem;

namespace {

class ChangesTest : public LibraryRowsTest {
 protected:
  void SetUp() override {
    MakeJpeg(File("a.jpg"), 16, 8, {{"Iptc.Application2.Keywords", "sea"}});
    MakeJpeg(File("trip/b.jpg"), 24, 8, {{"Iptc.Application2.Keywords", "sky"}});
    MakeJpeg(File("trip/day one/c.jpg"), 32, 8);
    Index();
  }

  // The rows equal those of a library made of the same files from nothing, which knows of nobody.
  void ExpectLikeNew() {
    Query("DELETE FROM photo_image_label WHERE label_id IN (SELECT id FROM photo_label WHERE category = 0)");
    Query("DELETE FROM photo_label WHERE category = 0");
    const std::vector<Row> rows = Rows();
    ForgetLibrary();
    Index();
    EXPECT_EQ(rows, Rows());
  }
};

TEST_F(ChangesTest, NothingChangedSendsNothingAndOpensNoFile) {
  const OpenWatch watch(File("trip/b.jpg"));
  Environment("LUMIVAULT_PLUGIN", "/nowhere");
  const Json::Value report = Index();
  EXPECT_FALSE(watch.WasOpened());
  EXPECT_EQ(report["unchanged"].asInt(), 3);
  EXPECT_EQ(report["added"].asInt() + report["folders"].asInt() + report["moved"].asInt(), 0);
}

TEST_F(ChangesTest, ANewFileIsAddedAndNothingElse) {
  MakeJpeg(File("trip/new.jpg"), 8, 8);
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["unchanged"].asInt(), 3);
  ExpectLikeNew();
}

TEST_F(ChangesTest, AChangedFileKeepsItsRow) {
  const std::string id = IdOf("a.jpg");
  MakeJpeg(File("a.jpg"), 64, 8, {{"Iptc.Application2.Keywords", "storm"}});
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(IdOf("a.jpg"), id);
  EXPECT_EQ(Value("SELECT resolutionx FROM photo_image WHERE path = 'a.jpg'"), "64");
}

TEST_F(ChangesTest, ADeletedFileLosesItsRow) {
  fs::remove(File("a.jpg"));
  EXPECT_EQ(Index()["deleted"].asInt(), 1);
  EXPECT_EQ(Count(), "2");
  EXPECT_EQ(Index()["deleted"].asInt(), 0);
  ExpectLikeNew();
}

TEST_F(ChangesTest, ADeletedFolderLosesItsAlbumsAndRows) {
  fs::remove_all(File("trip"));
  Index();
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share"), "1");
  ExpectLikeNew();
}

TEST_F(ChangesTest, ARenamedFileKeepsItsIdAndPeople) {
  NamePerson("trip/b.jpg", "Ann");
  const std::string id = IdOf("trip/b.jpg");
  fs::rename(File("trip/b.jpg"), File("trip/z.jpg"));
  const Json::Value report = Index();
  EXPECT_EQ(report["moved"].asInt(), 1);
  EXPECT_EQ(report["added"].asInt() + report["deleted"].asInt(), 0);
  EXPECT_EQ(IdOf("trip/z.jpg"), id);
  EXPECT_EQ(PersonOn("trip/z.jpg"), "Ann");
  EXPECT_EQ(Value("SELECT title FROM photo_image WHERE path = 'trip/z.jpg'"), "z");
}

TEST_F(ChangesTest, AFileMovedIntoANewFolderKeepsItsIdAndGetsThatAlbum) {
  const std::string id = IdOf("trip/b.jpg");
  fs::create_directories(File("new/deep"));
  fs::rename(File("trip/b.jpg"), File("new/deep/b.jpg"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_EQ(IdOf("new/deep/b.jpg"), id);
  ExpectLikeNew();
}

TEST_F(ChangesTest, AFolderRenamedKeepsEveryIdBelowIt) {
  NamePerson("trip/day one/c.jpg", "Bob");
  Query("UPDATE photo_share SET title = 'Summer' WHERE sharename = 'trip/day one'");
  const std::string ids =
      IdOf("trip/b.jpg") + IdOf("trip/day one/c.jpg") + AlbumId("trip") + AlbumId("trip/day one");
  fs::rename(File("trip"), File("holiday"));
  const Json::Value report = Index();
  EXPECT_EQ(report["moved"].asInt(), 4);
  EXPECT_EQ(
      IdOf("holiday/b.jpg") + IdOf("holiday/day one/c.jpg") + AlbumId("holiday") + AlbumId("holiday/day one"),
      ids);
  EXPECT_EQ(PersonOn("holiday/day one/c.jpg"), "Bob");
  EXPECT_EQ(Value("SELECT title FROM photo_share WHERE sharename = 'holiday/day one'"), "Summer");
  ExpectLikeNew();
}

TEST_F(ChangesTest, FoldersMovedIntoEachOtherKeepTheirAlbums) {
  const std::string trip = AlbumId("trip");
  const std::string day = AlbumId("trip/day one");
  fs::rename(File("trip/day one"), File("day"));
  fs::rename(File("trip"), File("day/trip"));
  Index();
  EXPECT_EQ(AlbumId("day/trip"), trip);
  EXPECT_EQ(AlbumId("day"), day);
  ExpectLikeNew();
}

TEST_F(ChangesTest, AFolderMadeAnewUnderTheOldNameIsAnotherAlbum) {
  const std::string trip = AlbumId("trip");
  fs::rename(File("trip"), File("old trip"));
  MakeJpeg(File("trip/b.jpg"), 8, 8);
  Index();
  EXPECT_EQ(AlbumId("old trip"), trip);
  EXPECT_NE(AlbumId("trip"), trip);
  ExpectLikeNew();
}

TEST_F(ChangesTest, AnAlbumInsideAFolderThatTookAnothersNameIsMadeAfterIt) {
  const std::string trip = AlbumId("trip");
  fs::rename(File("trip"), File("zoo"));
  MakeJpeg(File("trip/deep/x.jpg"), 8, 8);
  EXPECT_EQ(Index()["moved"].asInt(), 4);
  EXPECT_EQ(AlbumId("zoo"), trip);
  EXPECT_NE(AlbumId("trip/deep"), "");
  ExpectLikeNew();
}

TEST_F(ChangesTest, TwoFoldersThatMovedIntoEachOthersNamesAreFollowed) {
  MakeJpeg(File("other/o.jpg"), 40, 8);
  Index();
  const std::string ids = IdOf("trip/b.jpg") + "," + IdOf("other/o.jpg");
  fs::rename(File("trip"), File("t"));
  fs::rename(File("other"), File("o"));
  for (const char* name : {"trip", "other"}) fs::create_directory(File(name));
  fs::rename(File("t"), File("other/x"));
  fs::rename(File("o"), File("trip/x"));
  Index();
  EXPECT_EQ(IdOf("other/x/b.jpg") + "," + IdOf("trip/x/o.jpg"), ids);
  ExpectLikeNew();
}

TEST_F(ChangesTest, TwoFoldersSwappedWithANewOneInsideAreFollowed) {
  MakeJpeg(File("other/o.jpg"), 40, 8);
  Index();
  const std::string ids = IdOf("trip/b.jpg") + "," + IdOf("other/o.jpg");
  fs::rename(File("trip"), File("tmp"));
  fs::rename(File("other"), File("trip"));
  fs::rename(File("tmp"), File("other"));
  MakeJpeg(File("trip/deep/x.jpg"), 8, 8);
  Index();
  EXPECT_EQ(IdOf("other/b.jpg") + "," + IdOf("trip/o.jpg"), ids);
  ExpectLikeNew();
}

TEST_F(ChangesTest, TwoNamesSwappedSwapTheirRows) {
  MakeJpeg(File("trip/x.jpg"), 40, 8);
  Index();
  const std::string b = IdOf("trip/b.jpg");
  const std::string x = IdOf("trip/x.jpg");
  NamePerson("trip/b.jpg", "Ann");
  fs::rename(File("trip/b.jpg"), File("tmp"));
  fs::rename(File("trip/x.jpg"), File("trip/b.jpg"));
  fs::rename(File("tmp"), File("trip/x.jpg"));
  Index();
  EXPECT_EQ(IdOf("trip/x.jpg"), b);
  EXPECT_EQ(IdOf("trip/b.jpg"), x);
  EXPECT_EQ(PersonOn("trip/x.jpg"), "Ann");
  EXPECT_EQ(PersonOn("trip/b.jpg"), "");
  ExpectLikeNew();
}

TEST_F(ChangesTest, ARingOfThreeNamesTurnsTheRows) {
  MakeJpeg(File("x.jpg"), 40, 8);
  MakeJpeg(File("y.jpg"), 48, 8);
  Index();
  const std::string ids = IdOf("a.jpg") + "," + IdOf("x.jpg") + "," + IdOf("y.jpg");
  fs::rename(File("a.jpg"), File("tmp"));
  fs::rename(File("y.jpg"), File("a.jpg"));
  fs::rename(File("x.jpg"), File("y.jpg"));
  fs::rename(File("tmp"), File("x.jpg"));
  Index();
  EXPECT_EQ(IdOf("x.jpg") + "," + IdOf("y.jpg") + "," + IdOf("a.jpg"), ids);
  EXPECT_EQ(Count(), "5");
}

TEST_F(ChangesTest, AChainOfNamesMovesFromItsEnd) {
  MakeJpeg(File("b.jpg"), 40, 8);
  Index();
  const std::string a = IdOf("a.jpg");
  const std::string b = IdOf("b.jpg");
  fs::rename(File("b.jpg"), File("c.jpg"));
  fs::rename(File("a.jpg"), File("b.jpg"));
  Index();
  EXPECT_EQ(IdOf("b.jpg"), a);
  EXPECT_EQ(IdOf("c.jpg"), b);
}

TEST_F(ChangesTest, AFileMovedOverAnotherReplacesItsRow) {
  const std::string id = IdOf("trip/b.jpg");
  fs::rename(File("trip/b.jpg"), File("a.jpg"));
  Index();
  EXPECT_EQ(IdOf("a.jpg"), id);
  EXPECT_EQ(Count(), "2");
}

TEST_F(ChangesTest, ACopyOfADeletedFileIsTheSameFile) {
  NamePerson("trip/b.jpg", "Ann");
  const std::string id = IdOf("trip/b.jpg");
  fs::copy_file(File("trip/b.jpg"), File("copy.jpg"));
  fs::remove(File("trip/b.jpg"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_EQ(IdOf("copy.jpg"), id);
  EXPECT_EQ(PersonOn("copy.jpg"), "Ann");
}

TEST_F(ChangesTest, AnotherFileOfTheSameSizeIsNoMove) {
  MakeJpeg(File("s.jpg"), 8, 8, {{"Exif.Image.Make", "AAAA"}});
  Index();
  const std::string id = IdOf("s.jpg");
  const auto size = fs::file_size(File("s.jpg"));
  MakeJpeg(File("t.jpg"), 8, 8, {{"Exif.Image.Make", "BBBB"}});
  fs::remove(File("s.jpg"));
  ASSERT_EQ(fs::file_size(File("t.jpg")), size);
  EXPECT_EQ(Index()["moved"].asInt(), 0);
  EXPECT_NE(IdOf("t.jpg"), id);
}

TEST_F(ChangesTest, AFileWrittenAnewUnderItsNameKeepsItsRow) {
  const std::string id = IdOf("a.jpg");
  MakeJpeg(File("tmp.jpg"), 80, 8);
  fs::rename(File("tmp.jpg"), File("a.jpg"));
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(IdOf("a.jpg"), id);
}

TEST_F(ChangesTest, HostileNamesFollowTheirFiles) {
  std::vector<std::string> names;
  for (const std::string& name : HostileNames()) {
    if (!name.starts_with(".")) names.push_back(name);
  }
  for (const std::string& name : names) MakeJpeg(File("in/" + name + ".jpg"), 8, 8);
  Index();
  std::vector<std::string> ids;
  for (const std::string& name : names) ids.push_back(IdOf("in/" + name + ".jpg"));
  fs::rename(File("in"), File("it's 100% \"out\"\n_"));
  const Json::Value report = Index();
  EXPECT_EQ(report["moved"].asUInt(), names.size() + 1);
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(IdOf("it's 100% \"out\"\n_/" + names[i] + ".jpg"), ids[i]) << names[i];
  }
  ExpectLikeNew();
}

TEST_F(ChangesTest, ABadFileIsReadOnceAndToldEachTime) {
  WriteFile(File("bad.jpg"), "this is no picture");
  const std::string reason = FailureOf(Index({}, 3), "bad.jpg");
  const OpenWatch watch(File("bad.jpg"));
  EXPECT_EQ(FailureOf(Index(), "bad.jpg"), reason);
  EXPECT_FALSE(watch.WasOpened());
  MakeJpeg(File("bad.jpg"), 8, 8);
  EXPECT_EQ(Index()["added"].asInt(), 1);
}

TEST_F(ChangesTest, OldAndNewFailuresAreToldInTheOrderOfTheirPaths) {
  WriteFile(File("z.jpg"), "this is no picture");
  Index({}, 3);
  WriteFile(File("b.jpg"), "this is no picture");
  const Json::Value failed = Index({}, 3)["failed"];
  ASSERT_EQ(failed.size(), 2U);
  EXPECT_EQ(failed[0]["path"].asString(), File("b.jpg").string());
  EXPECT_EQ(failed[1]["path"].asString(), File("z.jpg").string());
}

TEST_F(ChangesTest, ABadFileWhoseModeChangedIsTriedAgain) {
  WriteFile(File("bad.jpg"), "this is no picture");
  Index({}, 3);
  chmod(File("bad.jpg").c_str(), 0640);
  const OpenWatch watch(File("bad.jpg"));
  Index();
  EXPECT_TRUE(watch.WasOpened());
}

TEST_F(ChangesTest, ADatabaseThatWasDeletedIsMadeAnew) {
  const std::vector<Row> rows = Rows();
  ForgetLibrary();
  EXPECT_EQ(Index()["added"].asInt(), 3);
  EXPECT_EQ(Rows(), rows);
}

TEST_F(ChangesTest, AVideosDescriptionAndCommentsFollowIt) {
  if (!MakeVideo(File("trip/v.mp4"), 32, 32, 1)) GTEST_SKIP() << "no ffmpeg";
  Index();
  Query("INSERT INTO video_comment (path, comment) VALUES ('trip/v.mp4', 'nice')");
  fs::rename(File("trip/v.mp4"), File("w.mp4"));
  EXPECT_EQ(Index()["moved"].asInt(), 1);
  EXPECT_EQ(Value("SELECT path FROM video"), "w.mp4");
  EXPECT_EQ(Value("SELECT path FROM video_comment"), "w.mp4");
}

TEST_F(ChangesTest, ADryRunNamesEveryEventAndSendsNothing) {
  fs::rename(File("a.jpg"), File("z.jpg"));
  fs::remove(File("trip/b.jpg"));
  MakeJpeg(File("n.jpg"), 8, 8);
  const std::vector<Row> rows = Rows();
  const std::string root = folder();
  const RunResult result = Run({"index", folder(), "--dry-run"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "move photo " + root + "/a.jpg -> " + root + "/z.jpg\nadd photo " + root +
                            "/n.jpg\ndelete photo " + root + "/trip/b.jpg\n");
  EXPECT_EQ(Rows(), rows);
  EXPECT_EQ(Index()["moved"].asInt(), 1);
}

TEST_F(ChangesTest, ADryRunHasNoFailuresToList) {
  const RunResult result = Run({"index", folder(), "--dry-run", "--failed"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "lumivault: --failed excludes --dry-run (see lumivault --help)\n");
}

TEST_F(ChangesTest, ADryRunNamesEveryEventAsJson) {
  fs::rename(File("a.jpg"), File("z.jpg"));
  fs::remove(File("trip/b.jpg"));
  const RunResult result = Run({"index", folder(), "--dry-run", "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string root = folder();
  EXPECT_EQ(result.out, "[{\"event\":\"move\",\"from\":\"" + root +
                            "/a.jpg\",\"kind\":\"photo\",\"path\":\"" + root +
                            "/z.jpg\"},{\"event\":\"delete\",\"kind\":\"photo\",\"path\":\"" + root +
                            "/trip/b.jpg\"}]\n");
}

TEST_F(ChangesTest, ADryRunNamesFilesBeforeTheirFoldersAndTheDeepestFirst) {
  fs::remove_all(File("trip"));
  const std::string trip = File("trip").string();
  EXPECT_EQ(Run({"index", folder(), "--dry-run"}).out, "delete photo " + trip + "/b.jpg\ndelete photo " +
                                                           trip + "/day one/c.jpg\ndelete folder " + trip +
                                                           "/day one\ndelete folder " + trip + "\n");
}

TEST_F(ChangesTest, ADryRunOfANewFolderWritesNothing) {
  const fs::path other = scratch() / "other";
  MakeJpeg(other / "x.jpg", 8, 8);
  const RunResult result = Run({"index", other, "--dry-run"});
  EXPECT_EQ(result.out, "add folder " + other.string() + "\nadd photo " + other.string() + "/x.jpg\n");
  EXPECT_FALSE(fs::exists(other / ".KAVOHGADB"));
}

// As a run is: for a folder in a library, and for one around it.
TEST_F(ChangesTest, ADryRunIsRefusedWhereARunIs) {
  const std::string trip = File("trip").string();
  const std::string above = scratch().string();
  for (const std::string& refused : {trip, above}) {
    const RunResult run = Run({"index", refused});
    const RunResult tried = Run({"index", refused, "--dry-run"});
    EXPECT_EQ(tried.status, 2);
    EXPECT_EQ(tried.out, "");
    EXPECT_EQ(tried.err, run.err);
    EXPECT_EQ(tried.err, "lumivault: " + refused + ": lies in or around the library " + folder().string() +
                             "; to give that one up, delete its .KAVOHGADB\n");
  }
}

TEST_F(ChangesTest, ADryRunOfAFolderInAnAbandonedLibraryForgetsNothing) {
  fs::remove(File(".KAVOHGADB"));
  const fs::path list = state() / "etc/kavo/personal.conf";
  const std::string before = ReadFile(list);
  EXPECT_EQ(Run({"index", File("trip"), "--dry-run"}).status, 0);
  EXPECT_EQ(ReadFile(list), before);
}

TEST_F(ChangesTest, AnEmptyLibraryIsMadeOnce) {
  const fs::path empty = scratch() / "empty";
  fs::create_directory(empty);
  EXPECT_EQ(Run({"index", empty, "--dry-run"}).out, "add folder " + empty.string() + "\n");
  EXPECT_EQ(StrictJson(Run({"index", empty, "--json"}).out)["folders"].asInt(), 1);
  EXPECT_EQ(Run({"index", empty, "--dry-run"}).out, "");
  EXPECT_EQ(StrictJson(Run({"index", empty, "--json"}).out)["folders"].asInt(), 0);
  fs::remove(empty / ".KAVOHGADB");
  EXPECT_EQ(StrictJson(Run({"index", empty, "--json"}).out)["folders"].asInt(), 1);
}

TEST_F(ChangesTest, AnEmptiedLibraryHasItsAlbumStill) {
  for (const auto& entry : fs::directory_iterator(folder())) {
    if (!entry.path().filename().string().starts_with('.')) fs::remove_all(entry.path());
  }
  EXPECT_EQ(Index({"--accept-loss"})["folders"].asInt(), 0);
  EXPECT_EQ(Index()["folders"].asInt(), 0);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_share"), "1");
}

}  // namespace
