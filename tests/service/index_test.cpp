#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class IndexTest : public ServiceTest {
 protected:
  void SetUp() override { fs::create_directories(folder()); }

  void MakeSmallTree() {
    MakeJpeg(File("a.jpg"), 16, 8,
             {{"Exif.Image.Make", "Maker"},
              {"Exif.Photo.DateTimeOriginal", "2024:05:06 07:08:09"},
              {"Iptc.Application2.Keywords", "sea"},
              {"Iptc.Application2.Keywords", "sky"}});
    MakeImage(File("2024/b.png"), 8, 16);
    MakeJpeg(File("2024/trip/c d.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
    WriteFile(File("2024/notes.txt"), "no photo");
  }

  // Everything that a second run must leave as it is, the ids among it.
  std::vector<Row> Everything() const {
    return QueryAll({"SELECT * FROM photo_image ORDER BY id", "SELECT * FROM photo_share ORDER BY shareid",
                     "SELECT * FROM photo_label ORDER BY id",
                     "SELECT image_id, label_id, status FROM photo_image_label ORDER BY image_id, label_id",
                     "SELECT * FROM video ORDER BY id"});
  }

  // The rows as far as they do not depend on the order of work.
  std::vector<Row> RowsWithoutIds() const {
    return QueryAll(
        {"SELECT P.*, S.sharename AS in_album, 0 AS id, 0 AS shareid, 0 AS privilege_shareid FROM "
         "photo_image "
         "P LEFT JOIN photo_share S ON S.shareid = P.shareid ORDER BY P.path",
         "SELECT sharename, public, is_subdir FROM photo_share ORDER BY sharename",
         "SELECT P.path, L.name FROM photo_image_label B JOIN photo_image P ON P.id = B.image_id "
         "JOIN photo_label L ON L.id = B.label_id ORDER BY 1, 2"});
  }

  std::vector<std::string> Paths() const {
    std::vector<std::string> paths;
    for (const Row& row : Query("SELECT path FROM photo_image ORDER BY path"))
      paths.push_back(row.at("path"));
    return paths;
  }
};

using Strings = std::vector<std::string>;

TEST_F(IndexTest, TheFirstRunFillsADatabaseInsideTheFolder) {
  MakeSmallTree();
  const Json::Value report = Index();
  EXPECT_EQ(report["found"].asInt(), 3);
  EXPECT_EQ(report["added"].asInt(), 3);
  EXPECT_EQ(report["folders"].asInt(), 3);
  EXPECT_EQ(report["skipped"]["not a photo or video"].asInt(), 1);
  EXPECT_EQ(report["failed"].size(), 0U);
  EXPECT_EQ(report["library"].asString(), folder().string());
  EXPECT_EQ(report["database"].asString(), (folder() / ".KAVOHGADB").string());
  EXPECT_FALSE(report["interrupted"].asBool());
  EXPECT_EQ(Paths(), Strings({"2024/b.png", "2024/trip/c d.jpg", "a.jpg"}));
  const Row row = Query("SELECT * FROM photo_image WHERE path = 'a.jpg'").front();
  EXPECT_EQ(row.at("title"), "a");
  EXPECT_EQ(row.at("camera_make"), "Maker");
  EXPECT_EQ(row.at("timetaken"), "2024-05-06 07:08:09");
  EXPECT_EQ(row.at("resolutionx"), "16");
  EXPECT_EQ(row.at("resolutiony"), "8");
}

TEST_F(IndexTest, FoldersBecomeAlbumsAndPhotosLieInThem) {
  MakeSmallTree();
  Index();
  EXPECT_EQ(
      Value(
          "SELECT group_concat(sharename, '|') FROM (SELECT sharename FROM photo_share ORDER BY sharename)"),
      "/|2024|2024/trip");
  const std::string album =
      "SELECT S.sharename FROM photo_image P JOIN photo_share S ON S.shareid = P.shareid WHERE P.path = ";
  EXPECT_EQ(Value(album + "'a.jpg'"), "/");
  EXPECT_EQ(Value(album + "'2024/b.png'"), "2024");
  EXPECT_EQ(Value(album + "'2024/trip/c d.jpg'"), "2024/trip");
}

TEST_F(IndexTest, ASecondRunChangesNothing) {
  MakeSmallTree();
  Index();
  Query("UPDATE photo_image SET title = 'My own title' WHERE path = 'a.jpg'");
  const std::vector<Row> before = Everything();
  ASSERT_GT(before.size(), 8U);
  Index();
  EXPECT_EQ(Everything(), before);
}

TEST_F(IndexTest, NothingElseIsWrittenIntoTheFolder) {
  MakeSmallTree();
  std::set<std::string> before;
  for (const auto& entry : fs::recursive_directory_iterator(folder())) before.insert(entry.path());
  Index();
  std::set<std::string> after;
  for (const auto& entry : fs::recursive_directory_iterator(folder())) after.insert(entry.path());
  before.insert(folder() / ".KAVOHGADB");
  EXPECT_EQ(after, before);
}

TEST_F(IndexTest, PeoplesModesStay) {
  MakeSmallTree();
  chmod(File("a.jpg").c_str(), 0640);
  chmod(File("2024").c_str(), 0750);
  Index();
  EXPECT_EQ(fs::status(File("a.jpg")).permissions(), fs::perms(0640));
  EXPECT_EQ(fs::status(File("2024")).permissions(), fs::perms(0750));
}

TEST_F(IndexTest, VideosGetTheirRows) {
  if (!MakeVideo(File("v/film.mp4"), 64, 48, 1.0)) GTEST_SKIP() << "no ffmpeg";
  EXPECT_EQ(Index()["added"].asInt(), 1);
  const std::vector<Row> rows = Query("SELECT * FROM video");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows.front().at("path"), "v/film.mp4");
  EXPECT_EQ(rows.front().at("resolutionx"), "64");
  EXPECT_EQ(rows.front().at("resolutiony"), "48");
}

TEST_F(IndexTest, EmptyAndBrokenFilesAreReportedAndTheRestIsIndexed) {
  MakeJpeg(File("good.jpg"), 8, 8);
  WriteFile(File("empty.jpg"), "");
  WriteFile(File("text.jpg"), "this is no picture at all");
  WriteFile(File("zeros.jpg"), std::string(5000, '\0'));
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["failed"].size(), 3U);
  EXPECT_EQ(FailureOf(report, "empty.jpg"), "the file is empty");
  EXPECT_NE(FailureOf(report, "text.jpg"), "");
  EXPECT_NE(FailureOf(report, "zeros.jpg"), "");
  EXPECT_EQ(Paths(), Strings({"good.jpg"}));
}

TEST_F(IndexTest, ATruncatedPictureIsStoredAsFarAsItCanBeReadAndNoted) {
  MakeJpeg(File("cut.jpg"), 64, 32, {{"Exif.Image.Make", "Maker"}});
  fs::resize_file(File("cut.jpg"), fs::file_size(File("cut.jpg")) - 20);
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["failed"].size(), 0U);
  EXPECT_EQ(NoteOf(report, "cut.jpg"), "the picture is cut short");
  EXPECT_EQ(Value("SELECT camera_make FROM photo_image WHERE path = 'cut.jpg'"), "Maker");
}

TEST_F(IndexTest, WhatIsNoPlainFileIsSkippedByReason) {
  MakeJpeg(File("real/a.jpg"), 8, 8);
  MakeJpeg(File(".hidden.jpg"), 8, 8);
  MakeJpeg(File(".folder/x.jpg"), 8, 8);
  MakeJpeg(File("@eaDir/a.jpg/KAVOPHOTO_THUMB_XL.jpg"), 8, 8);
  ASSERT_EQ(mkfifo(File("fifo.jpg").c_str(), 0600), 0);
  fs::create_symlink("real/a.jpg", File("link.jpg"));
  fs::create_symlink("gone.jpg", File("dangling.jpg"));
  fs::create_symlink("loop.jpg", File("loop.jpg"));
  fs::create_directory_symlink("..", File("real/up"));
  const Json::Value report = Index();
  EXPECT_EQ(Paths(), Strings({"link.jpg", "real/a.jpg"}));
  EXPECT_EQ(report["skipped"]["hidden"].asInt(), 2);
  EXPECT_EQ(report["skipped"]["special file"].asInt(), 1);
  EXPECT_EQ(report["skipped"]["link that leads nowhere"].asInt(), 2);
  EXPECT_EQ(report["skipped"]["link to a folder"].asInt(), 1);
}

using OtherUser = IndexTest;

TEST_F(OtherUser, UnreadableFilesAndFoldersAreReported) {
  MakeJpeg(File("open.jpg"), 8, 8);
  MakeJpeg(File("closed.jpg"), 8, 8);
  MakeJpeg(File("folder/inside.jpg"), 8, 8);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  chmod(File("closed.jpg").c_str(), 0);
  chmod(File("folder").c_str(), 0);
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(FailureOf(report, "closed.jpg"), "Permission denied");
  EXPECT_EQ(FailureOf(report, "folder"), "cannot be opened: Permission denied");
  chmod(File("folder").c_str(), 0700);
}

// Its times do not tell that it can be read by now.
TEST_F(OtherUser, AFileThatCouldNotBeReadIsTriedAgain) {
  MakeJpeg(File("closed.jpg"), 8, 8);
  if (geteuid() != 0 || !BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  ASSERT_EQ(chown(File("closed.jpg").c_str(), 0, 0), 0);
  chmod(File("closed.jpg").c_str(), 0600);
  EXPECT_EQ(FailureOf(Index({}, 3), "closed.jpg"), "Permission denied");
  AsUser(0);  // who uses no state folder of another's
  ASSERT_EQ(chown(scratch().c_str(), 0, 0), 0);
  ASSERT_EQ(chown(state().c_str(), 0, 0), 0);
  for (const auto& entry : fs::recursive_directory_iterator(state()))
    ASSERT_EQ(lchown(entry.path().c_str(), 0, 0), 0);
  EXPECT_EQ(Index({"--as-root"})["added"].asInt(), 1);
}

TEST_F(OtherUser, AFolderThatCannotBeReadEndsTheRun) {
  MakeJpeg(File("a.jpg"), 8, 8);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  chmod(folder().c_str(), 0300);
  const RunResult result = Run({"index", folder(), "--quiet"});
  chmod(folder().c_str(), 0700);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "lumivault: " + folder().string() + ": cannot be opened: Permission denied\n");
}

TEST_F(OtherUser, AFolderThatCannotBeWrittenHasNoDatabaseToReach) {
  MakeJpeg(File("a.jpg"), 8, 8);
  if (!BecomeNobody()) GTEST_SKIP() << "the program cannot be run as another user here";
  chmod(folder().c_str(), 0500);
  const RunResult result = Run({"index", folder(), "--quiet"});
  chmod(folder().c_str(), 0700);
  EXPECT_EQ(result.status, 5) << result.err;
  EXPECT_EQ(result.err, "lumivault: " + folder().string() +
                            ": cannot be written, and the database is in it: Permission denied\n");
}

TEST_F(IndexTest, ADatabaseWhoseMakingWasCutShortIsCompleted) {
  MakeSmallTree();
  WriteFile(folder() / ".KAVOHGADB", "");
  EXPECT_EQ(Index()["added"].asInt(), 3);
  EXPECT_EQ(Paths().size(), 3U);
}

TEST_F(IndexTest, ALibraryWithoutStatisticsGetsThem) {
  MakeSmallTree();
  Index();
  const std::vector<Row> made = Query("SELECT * FROM sqlite_stat1 ORDER BY idx");
  EXPECT_EQ(made.size(), 4U);
  Query("DROP TABLE sqlite_stat1");
  MakeImage(File("new.png"), 8, 8);
  Index();
  EXPECT_EQ(Query("SELECT * FROM sqlite_stat1 ORDER BY idx"), made);
}

TEST_F(IndexTest, AFileInTheDatabasesPlaceEndsTheRun) {
  MakeSmallTree();
  WriteFile(folder() / ".KAVOHGADB", "this is not a database, but it is long enough to be looked at as one");
  const RunResult result = Run({"index", folder(), "--quiet"});
  EXPECT_EQ(result.status, 5) << result.err;
  EXPECT_EQ(result.out, "");
}

class WorkersTest : public IndexTest, public testing::WithParamInterface<const char*> {};

TEST_P(WorkersTest, TheNumberOfWorkersDoesNotChangeTheRows) {
  for (int i = 0; i < 90; ++i) {
    const std::string name =
        "f" + std::to_string(i % 7) + "/s" + std::to_string(i % 3) + "/" + std::to_string(i) + ".jpg";
    MakeJpeg(File(name), 8 + i % 3, 8, {{"Iptc.Application2.Keywords", "k" + std::to_string(i % 5)}});
  }
  Index({"-j", "1"});
  const std::vector<Row> one = RowsWithoutIds();
  ASSERT_GE(one.size(), 90U + 29U + 90U);
  ForgetLibrary();
  Index({"-j", GetParam()});
  EXPECT_EQ(RowsWithoutIds(), one);
}

INSTANTIATE_TEST_SUITE_P(Workers, WorkersTest, testing::Values("2", "4"));

TEST_F(IndexTest, AnyNameIsStoredAsItIs) {
  std::set<std::string> expected;
  for (const std::string& name : HostileNames()) {
    if (name.starts_with(".")) continue;
    MakeJpeg(File(name + ".jpg"), 8, 8);
    MakeJpeg(File("in " + name + "/a.jpg"), 8, 8);
    expected.insert(name + ".jpg");
    expected.insert("in " + name + "/a.jpg");
  }
  const Json::Value report = Index();
  EXPECT_EQ(report["added"].asUInt(), expected.size());
  const Strings paths = Paths();
  EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()), expected);
}

TEST_F(IndexTest, NamesThatAreNotUtf8AreRefusedOneByOne) {
  MakeJpeg(File("good.jpg"), 8, 8);
  const Strings names = HostileBytes();
  for (const std::string& name : names) MakeJpeg(File(name + ".jpg"), 8, 8);
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["failed"].size(), names.size());
  for (const Json::Value& failed : report["failed"]) {
    EXPECT_EQ(failed["reason"].asString(), "its name is not UTF-8") << failed.toStyledString();
    EXPECT_TRUE(failed.isMember("path_base64"));
  }
  EXPECT_EQ(Paths(), Strings({"good.jpg"}));
}

TEST_F(IndexTest, AFolderThatCannotBeAnAlbumIsSkippedAndItsFilesAreNot) {
  const std::string deep = std::string(200, 'd') + "/" + std::string(54, 'e');
  MakeJpeg(File(deep + "/a.jpg"), 8, 8);
  MakeJpeg(File("\xff/b.jpg"), 8, 8);
  const Json::Value report = Index({}, 3);
  EXPECT_EQ(report["found"].asInt(), 2);
  EXPECT_EQ(report["folders"].asInt(), 2);
  EXPECT_EQ(report["skipped"]["folder name too long for an album"].asInt(), 1);
  EXPECT_EQ(report["skipped"]["folder name is not UTF-8"].asInt(), 1);
  EXPECT_EQ(Paths(), Strings({deep + "/a.jpg"}));
  ASSERT_EQ(report["failed"].size(), 1U);
  EXPECT_EQ(report["failed"][0]["reason"].asString(), "its name is not UTF-8");
}

TEST_F(IndexTest, SideFilesOfAFailedFileStayAndThoseOfItsNeighbourAreConsumed) {
  MakeJpeg(File("good.jpg"), 8, 8);
  MakeJpeg(File("\xff.jpg"), 8, 8);
  WriteFile(File("@eaDir/good.jpg/KAVOPHOTO_TITLE"), "Kept title");
  WriteFile(File("@eaDir/\xff.jpg/KAVOPHOTO_TITLE"), "Lost title");
  const Json::Value report = Index({"-j", "1"}, 3);
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(Value("SELECT title FROM photo_image WHERE path = 'good.jpg'"), "Kept title");
  EXPECT_FALSE(fs::exists(File("@eaDir/good.jpg/KAVOPHOTO_TITLE")));
  EXPECT_TRUE(fs::exists(File("@eaDir/\xff.jpg/KAVOPHOTO_TITLE")));
}

// On one core a worker that has sent something waits until the supervisor has dealt with it.
class OnOneCore {
 public:
  OnOneCore() {
    sched_getaffinity(0, sizeof(before_), &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    std::size_t core = 0;
    while (core < CPU_SETSIZE - 1 && !CPU_ISSET(core, &before_)) ++core;
    CPU_SET(core, &one);
    sched_setaffinity(0, sizeof(one), &one);
  }
  ~OnOneCore() { sched_setaffinity(0, sizeof(before_), &before_); }
  OnOneCore(const OnOneCore&) = delete;
  OnOneCore& operator=(const OnOneCore&) = delete;

 private:
  cpu_set_t before_{};
};

TEST_F(IndexTest, ARunLeavesTheDatabaseInOneFile) {
  const OnOneCore one_core;
  for (int i = 0; i < 100; ++i) MakeJpeg(File(std::to_string(i) + ".jpg"), 8, 8);
  for (int run = 0; run < 9; ++run) {
    Index({"-j", run % 3 == 0 ? "3" : "1"});
    for (const char* suffix : {"-wal", "-shm", "-journal"}) {
      EXPECT_FALSE(fs::exists(folder() / (std::string(".KAVOHGADB") + suffix))) << suffix << " of " << run;
    }
  }
}

TEST_F(IndexTest, JobsThatNobodyReadsDoNotPileUp) {
  MakeSmallTree();
  Index();
  const fs::path queue = state() / "var/services/photo/@eaDir/kavophoto_face.queue";
  ASSERT_TRUE(fs::exists(queue)) << "the plug-in queues watermarks";
  EXPECT_EQ(ReadFile(queue), "");
}

TEST_F(IndexTest, JobsWaitForTheirReaderWhereFaceRecognitionIsOn) {
  MakeSmallTree();
  WriteFile(state() / "var/packages/Lumivault/etc/settings.conf", "runfacerecognition=yes\n");
  Index();
  const std::string queue = ReadFile(state() / "var/services/photo/@eaDir/kavophoto_face.queue");
  EXPECT_EQ(std::count(queue.begin(), queue.end(), '\n'), 3) << queue;
  for (const char* name : {"a.jpg", "2024/b.png", "2024/trip/c d.jpg"})
    EXPECT_NE(queue.find("/" + File(name).string() + "\n"), std::string::npos) << queue;
}

TEST_F(IndexTest, AFailureIsNotPutDownToAMissingSetting) {
  MakeSmallTree();
  Index();
  Environment("LD_PRELOAD", REFUSING_TRIGGERS);
  Environment("TRIGGER_AT_OPEN",
              "CREATE TEMP TRIGGER refuses BEFORE INSERT ON photo_share BEGIN SELECT RAISE(ABORT, 'no album "
              "today'); END");
  fs::create_directory(File("new"));
  EXPECT_EQ(FailureOf(Index({}, 3), "new"), "the database refused it");
}

TEST_F(IndexTest, TwoFoldersAreTwoLibrariesOfOneStateFolder) {
  MakeSmallTree();
  const fs::path other = scratch() / "other";
  MakeJpeg(other / "x.jpg", 8, 8);
  Index();
  EXPECT_EQ(Run({"index", other, "--quiet"}).status, 0);
  EXPECT_TRUE(fs::exists(other / ".KAVOHGADB"));
  EXPECT_EQ(Paths().size(), 3U);
}

TEST_F(IndexTest, ALibraryThatWasMovedKeepsItsRows) {
  MakeSmallTree();
  Index();
  const std::vector<Row> before = Everything();
  fs::rename(folder(), scratch() / "moved");
  EXPECT_EQ(Run({"index", scratch() / "moved", "--quiet"}).status, 0);
  fs::rename(scratch() / "moved", folder());
  EXPECT_EQ(Everything(), before);
}

TEST_F(IndexTest, TheTextForPeopleHasTheCountsAndEveryFailure) {
  MakeSmallTree();
  WriteFile(File("new\nline.jpg"), "");
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, 3);
  EXPECT_TRUE(
      result.out.starts_with(folder().string() + ": found 4, added 3, skipped 1, failed 1, folders 3, "));
  EXPECT_NE(result.out.find("\nskipped: not a photo or video: 1\n"), std::string::npos);
  EXPECT_NE(result.out.find("/new\\nline.jpg: the file is empty\n"), std::string::npos);
}

TEST_F(IndexTest, TheSharedPhotosGiveOneRowForEachFileThatShowsSomething) {
  if (SharedPhotos().empty()) GTEST_SKIP() << "the shared photos are not here";
  fs::copy(SharedPhotos() / "media", folder(), fs::copy_options::recursive);
  const Json::Value report = Index({}, 3);
  const int rows =
      std::stoi(Value("SELECT (SELECT count(*) FROM photo_image) + (SELECT count(*) FROM video)"));
  EXPECT_EQ(rows, report["added"].asInt());
  EXPECT_EQ(report["found"].asUInt(), report["added"].asUInt() + report["failed"].size());
  EXPECT_GT(rows, 140);
}

}  // namespace
