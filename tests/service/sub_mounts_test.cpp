// File systems that are mounted below a library, and what is told of their files when they are away or others
// stand in their place. On both engines.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "changes/mount_record.h"
#include "support/media_maker.h"
#include "support/private_namespace.h"
#include "support/shared_tree_test.h"

namespace fs = std::filesystem;

namespace {

constexpr int kLoss = 7;

// Nothing that is mounted here is seen by others, and all of it goes with the process.
const std::string& WhyNoMounts() {
  static const std::string why = EnterPrivateNamespace({});
  return why;
}

template <typename Base>
class SubMountsTest : public Base {
 protected:
  void SetUp() override {
    if (!WhyNoMounts().empty()) GTEST_SKIP() << "no mounts here: " << WhyNoMounts();
    Base::SetUp();
    if (this->IsSkipped()) return;
    fs::create_directories(Stick());
    MakeJpeg(this->File("local/own.jpg"), 8, 8);
  }
  void TearDown() override {
    Pull();
    Base::TearDown();
  }

  fs::path Stick() const { return this->File("stick"); }
  fs::path Backing() const { return this->scratch() / "backing"; }
  // A file system in memory, empty.
  void Put() { ASSERT_EQ(mount("none", Stick().c_str(), "tmpfs", 0, nullptr), 0); }
  // A folder of the same file system.
  void Bind() {
    fs::create_directories(Backing());
    ASSERT_EQ(mount(Backing().c_str(), Stick().c_str(), nullptr, MS_BIND, nullptr), 0);
  }
  void Pull() {
    while (umount2(Stick().c_str(), MNT_DETACH) == 0) {
    }
  }
  // Another stick with the same files, times included, in the place of the one that is there.
  void ExchangeForCopy() {
    const auto copy = [](const fs::path& from, const fs::path& to) {
      ASSERT_EQ(std::system(("cp -a '" + from.string() + "' '" + to.string() + "'").c_str()), 0);
    };
    copy(Stick() / "deep", this->scratch() / "copy");
    Pull();
    Put();
    copy(this->scratch() / "copy", Stick() / "deep");
  }
  void MakePhotos() {
    for (int i = 0; i < 3; ++i) MakeJpeg(Stick() / "deep" / (std::to_string(i) + ".jpg"), 16 + i, 8);
  }
  void PutWithPhotos() {
    Put();
    MakePhotos();
    this->Index();
    rows_ = this->Rows();
    ASSERT_EQ(this->Count(), "4");
  }
  void PutWithMore() {
    Put();
    MakePhotos();
    this->Index();
    rows_ = this->Rows();
  }
  void NewStateFolder() { fs::remove_all(this->state() / "libraries"); }

  int Status(const std::string& command) {
    std::vector<std::string> arguments{command, "--quiet"};
    arguments.push_back(this->shared() ? "--shared" : this->folder().string());
    fs::create_directories(this->state() / "libraries" / (this->shared() ? "shared" : "."));
    return this->Run(arguments).status;
  }
  void ExpectKept() {
    EXPECT_EQ(Status("index"), kLoss);
    EXPECT_EQ(Status("reindex"), kLoss);
    EXPECT_EQ(this->Rows(), rows_);
  }
  std::string Mounts() const { return this->Value("SELECT value FROM lumivault_fact WHERE name = 'mounts'"); }

  std::vector<DatabaseRow> rows_;
};

TYPED_TEST_SUITE(SubMountsTest, BothKinds);

TYPED_TEST(SubMountsTest, AStickThatIsAwayKeepsItsRows) {
  this->PutWithPhotos();
  this->Pull();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, AnEmptyStickWithTheSameNumberKeepsTheRowsOfTheOther) {
  this->PutWithPhotos();
  this->Pull();
  this->Put();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, AStickWithOtherPhotosKeepsTheRowsOfTheOther) {
  this->PutWithPhotos();
  this->Pull();
  this->Put();
  MakeJpeg(this->Stick() / "other.jpg", 8, 8);
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->Count(), "5");
  this->Pull();
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->Count(), "5") << "that one's are kept, too";
}

// Its photos have the names of the other's.
TYPED_TEST(SubMountsTest, AStickWithTheSameNamesDoesNotTakeTheRowsOfTheOther) {
  this->PutWithPhotos();
  this->NamePerson("stick/deep/1.jpg", "Ada");
  this->rows_ = this->Rows();
  this->Pull();
  this->Put();
  for (int i = 0; i < 3; ++i)
    MakeJpeg(this->Stick() / "deep" / (std::to_string(i) + ".jpg"), 100 + 20 * i, 90);
  this->ExpectKept();
  const Json::Value report = this->Index({}, kLoss);
  EXPECT_EQ(report["withheld"]["paths"].size(), 3U);
  EXPECT_EQ(report["withheld"]["paths"][0]["path"].asString(), (this->Stick() / "deep/0.jpg").string());
  this->NewStateFolder();
  this->ExpectKept();
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->PersonOn("stick/deep/1.jpg"), "Ada");
  EXPECT_EQ(this->Index({"--accept-loss"})["added"].asInt(), 3);
  EXPECT_EQ(this->Status("index"), 0);
}

// Of what was there the database tells names, sizes and times.
TYPED_TEST(SubMountsTest, NorDoesOneWithTheSameSizesWithANewStateFolder) {
  this->PutWithPhotos();
  this->NamePerson("stick/deep/1.jpg", "Ada");
  this->rows_ = this->Rows();
  this->Pull();
  this->Put();
  this->MakePhotos();
  for (const auto& photo : fs::directory_iterator(this->Stick() / "deep"))
    fs::last_write_time(photo, fs::last_write_time(photo) - std::chrono::hours(1));
  this->NewStateFolder();
  this->ExpectKept();
  EXPECT_EQ(this->PersonOn("stick/deep/1.jpg"), "Ada");
}

TYPED_TEST(SubMountsTest, ACopyOfAStickStandsForItWithANewStateFolderToo) {
  this->Put();
  const bool with_video = MakeVideo(this->Stick() / "deep/film.mp4", 32, 32, 1);
  this->MakePhotos();
  this->Index();
  const std::string id = this->IdOf("stick/deep/1.jpg");
  this->ExchangeForCopy();
  this->NewStateFolder();
  EXPECT_EQ(this->Status("index"), 0);
  EXPECT_EQ(this->IdOf("stick/deep/1.jpg"), id);
  if (!with_video) GTEST_SKIP() << "no ffmpeg: without a video";
}

TYPED_TEST(SubMountsTest, ACopyOfAStickStandsForIt) {
  this->PutWithPhotos();
  this->ExchangeForCopy();
  EXPECT_EQ(this->Status("index"), 0);
  EXPECT_EQ(this->Rows(), this->rows_);
  EXPECT_EQ(this->Index()["unchanged"].asInt(), 4);
}

// One stick away is no reason to keep what is gone elsewhere.
TYPED_TEST(SubMountsTest, WhatIsGoneBesideAStickThatIsAwayIsDeleted) {
  MakeJpeg(this->File("local/two.jpg"), 8, 8);
  MakeJpeg(this->File("old/three.jpg"), 8, 8);
  this->Put();
  this->MakePhotos();
  this->Index();
  this->Pull();
  fs::remove(this->File("local/two.jpg"));
  fs::remove_all(this->File("old"));
  const Json::Value report = this->Index({}, kLoss);
  EXPECT_EQ(report["deleted"].asInt(), 3);  // with an album
  EXPECT_EQ(report["withheld"]["paths"].size(), 4U);
  EXPECT_EQ(report["withheld"]["reason"].asString(), "what was mounted at stick is not there");
  EXPECT_EQ(this->Count(), "4");
  EXPECT_EQ(this->Run({"index", this->shared() ? "--shared" : this->folder().string(), "--dry-run"}).status,
            kLoss);
}

TYPED_TEST(SubMountsTest, TheFoldersAboveAStickThatIsAwayStay) {
  fs::create_directories(this->File("above/port"));
  ASSERT_EQ(mount("none", this->File("above/port").c_str(), "tmpfs", 0, nullptr), 0);
  MakeJpeg(this->File("above/port/a.jpg"), 8, 8);
  this->Index();
  this->rows_ = this->Rows();
  umount2(this->File("above/port").c_str(), MNT_DETACH);
  fs::remove_all(this->File("above"));
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, AlbumsAloneOfAStickThatIsAwayStay) {
  this->Put();
  fs::create_directories(this->Stick() / "album");
  this->Index();
  this->rows_ = this->Rows();
  this->Pull();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, AReindexSendsWhatIsThereWhileAStickIsAway) {
  this->PutWithPhotos();
  this->Pull();
  MakeJpeg(this->File("local/new.jpg"), 8, 8);
  this->Query("UPDATE photo_image SET resolutionx = 1 WHERE path = " + this->KeyLiteral("local/own.jpg"));
  EXPECT_EQ(this->Status("reindex"), kLoss);
  EXPECT_EQ(this->Count(), "5");
  EXPECT_EQ(
      this->Value("SELECT resolutionx FROM photo_image WHERE path = " + this->KeyLiteral("local/own.jpg")),
      "8");
  EXPECT_EQ(this->Value("SELECT count(*) FROM photo_image WHERE updated = '0'"), "0");
}

// Rows that no catalogue knows: another program has added them.
TYPED_TEST(SubMountsTest, AReindexKeepsRowsOfOthersOnAStickThatIsAway) {
  this->PutWithPhotos();
  const fs::path catalogue = fs::directory_iterator(this->state() / "libraries")->path() / "catalogue.db";
  QueryDatabase(catalogue, "DELETE FROM entry WHERE folder = 'stick/deep' AND name = '1.jpg'");
  this->Pull();
  EXPECT_EQ(this->Status("reindex"), kLoss);
  EXPECT_EQ(this->Rows(), this->rows_);
}

TYPED_TEST(SubMountsTest, ABoundFolderThatIsAwayKeepsItsRows) {
  this->Bind();
  this->MakePhotos();
  this->Index();
  this->rows_ = this->Rows();
  this->Pull();
  this->ExpectKept();
  this->Bind();
  EXPECT_EQ(this->Index()["unchanged"].asInt(), 4);
}

TYPED_TEST(SubMountsTest, WithANewStateFolderToo) {
  this->PutWithPhotos();
  this->Pull();
  this->NewStateFolder();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, WithANewStateFolderAndAnotherStickToo) {
  this->PutWithPhotos();
  this->Pull();
  this->Put();
  this->NewStateFolder();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, AStickThatCameAfterTheFirstRunIsKnownToTheDatabase) {
  this->Index();
  this->PutWithPhotos();
  this->Pull();
  this->NewStateFolder();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, PhotosCopiedFromAStickThatIsAwayAreNew) {
  this->PutWithPhotos();
  const std::string id = this->IdOf("stick/deep/1.jpg");
  fs::copy_file(this->Stick() / "deep/1.jpg", this->File("local/1.jpg"));
  this->Pull();
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->IdOf("stick/deep/1.jpg"), id);
  EXPECT_NE(this->IdOf("local/1.jpg"), "");
  EXPECT_EQ(this->Count(), "5");
}

TYPED_TEST(SubMountsTest, PhotosCopiedFromAStickThatIsAwayAreNewWithANewStateFolderToo) {
  this->PutWithPhotos();
  const std::string id = this->IdOf("stick/deep/1.jpg");
  fs::copy_file(this->Stick() / "deep/1.jpg", this->File("local/1.jpg"));
  this->Pull();
  this->NewStateFolder();
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->IdOf("stick/deep/1.jpg"), id);
  EXPECT_EQ(this->Count(), "5");
}

TYPED_TEST(SubMountsTest, AStickOverAFolderKeepsTheRowsOfWhatItHides) {
  this->MakePhotos();
  this->Index();
  this->rows_ = this->Rows();
  this->Bind();
  this->ExpectKept();
  this->Pull();
  EXPECT_EQ(this->Index()["unchanged"].asInt(), 4);
}

TYPED_TEST(SubMountsTest, AStickThatIsSeenElsewhereTakesItsRowsAlong) {
  this->PutWithPhotos();
  const std::string id = this->IdOf("stick/deep/1.jpg");
  struct statx status {};
  ASSERT_EQ(statx(AT_FDCWD, (this->Stick() / "deep/1.jpg").c_str(), 0, STATX_BTIME, &status), 0);
  fs::create_directories(this->File("port"));
  ASSERT_EQ(mount(this->Stick().c_str(), this->File("port").c_str(), nullptr, MS_MOVE, nullptr), 0);
  const int run = this->Status("index");
  umount2(this->File("port").c_str(), MNT_DETACH);
  if ((status.stx_mask & STATX_BTIME) == 0) GTEST_SKIP() << "no birth times here";
  EXPECT_EQ(run, 0);
  EXPECT_EQ(this->IdOf("port/deep/1.jpg"), id);
  EXPECT_EQ(this->Count(), "4");
}

TYPED_TEST(SubMountsTest, WhatIsDeletedOnAStickIsGone) {
  this->PutWithPhotos();
  fs::remove(this->Stick() / "deep/1.jpg");
  EXPECT_EQ(this->Index()["deleted"].asInt(), 1);
  this->NewStateFolder();
  fs::remove(this->Stick() / "deep/2.jpg");
  EXPECT_EQ(this->Status("index"), 0);
  EXPECT_EQ(this->Count(), "2");
}

TYPED_TEST(SubMountsTest, SomebodyMayAcceptTheLoss) {
  this->PutWithPhotos();
  this->Pull();
  EXPECT_EQ(this->Index({"--accept-loss"})["deleted"].asInt(), 4);  // with the album
  EXPECT_EQ(this->Count(), "1");
  EXPECT_EQ(this->Status("index"), 0);
  EXPECT_EQ(this->Mounts(), "");
  this->NewStateFolder();
  EXPECT_EQ(this->Status("index"), 0) << "and nothing is known of the stick any more";
}

TYPED_TEST(SubMountsTest, NothingOfItIsInAnExport) {
  this->PutWithPhotos();
  EXPECT_EQ(this->Value("SELECT count(*) FROM lumivault_fact WHERE name = 'mounts'"), "1");
  const RunResult exported =
      this->shared() ? this->Run({"export", "--shared"}) : this->Run({"export", this->folder()});
  EXPECT_EQ(exported.out.find("lumivault_fact"), std::string::npos);
}

// Stamps of catalogues that were made before had the numbers of devices.
TYPED_TEST(SubMountsTest, AnEarlierCatalogueIsTakenOver) {
  this->PutWithPhotos();
  struct stat status {};
  ASSERT_EQ(stat(this->Stick().c_str(), &status), 0);
  const fs::path catalogue = fs::directory_iterator(this->state() / "libraries")->path() / "catalogue.db";
  QueryDatabase(catalogue,
                "UPDATE entry SET device = " + std::to_string(status.st_dev) + " WHERE device <> 0");
  QueryDatabase(catalogue, "DELETE FROM fact WHERE name = 'file_systems'");
  EXPECT_EQ(this->Index()["unchanged"].asInt(), 4);
  this->Pull();
  this->Put();
  this->ExpectKept();
}

// The plug-in takes none of its files; each would fail in every run otherwise.
TYPED_TEST(SubMountsTest, WhatLiesOnAnotherMachineIsLeftOutAndSaidOnce) {
  ASSERT_EQ(mount("server:/photos", this->Stick().c_str(), "tmpfs", 0, nullptr), 0);
  this->MakePhotos();
  const Json::Value report = this->Index();
  EXPECT_EQ(report["added"].asInt(), 1);
  EXPECT_EQ(report["failed"].size(), 0U);
  EXPECT_EQ(report["skipped"]["on another machine or in an image file"].asInt(), 1);
}

// Whoever puts a photo on a server keeps what is known of those that were there.
TYPED_TEST(SubMountsTest, WhatAnotherMachineHidesIsKept) {
  this->PutWithPhotos();
  ASSERT_EQ(mount("server:/photos", this->Stick().c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_EQ(this->Status("index"), 0);
  EXPECT_EQ(this->Status("reindex"), 0);
  EXPECT_EQ(this->Rows(), this->rows_);
}

// Its photos were indexed before anything was mounted.
TYPED_TEST(SubMountsTest, AStickOverLocalPhotosKeepsTheirRowsWithANewStateFolderToo) {
  this->MakePhotos();
  this->Index();
  this->rows_ = this->Rows();
  EXPECT_EQ(this->Value("SELECT count(*) FROM lumivault_fact WHERE name = 'mounts'"), "1");
  this->Put();
  this->NewStateFolder();
  this->ExpectKept();
}

TYPED_TEST(SubMountsTest, OfTwoSticksTheOneThatIsThereStaysKnownForItself) {
  fs::create_directories(this->File("port"));
  ASSERT_EQ(mount("none", this->File("port").c_str(), "tmpfs", 0, nullptr), 0);
  for (const char* name : {"port/a.jpg", "port/b.jpg"}) MakeJpeg(this->File(name), 8, 8);
  this->PutWithMore();
  this->Pull();
  EXPECT_EQ(this->Status("index"), kLoss);
  this->NewStateFolder();
  fs::remove(this->File("port/b.jpg"));
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->Count(), "5") << "that one alone is gone";
  umount2(this->File("port").c_str(), MNT_DETACH);
}

// A link that leads nowhere may hide what was mounted there, and nothing else.
TYPED_TEST(SubMountsTest, ALinkThatLeadsNowhereKeepsWhatIsKnownOfItsOwnPlaceAlone) {
  fs::create_directories(this->File("port/deep"));
  ASSERT_EQ(mount("none", this->File("port/deep").c_str(), "tmpfs", 0, nullptr), 0);
  MakeJpeg(this->File("port/deep/a.jpg"), 8, 8);
  this->PutWithMore();
  const std::string both = this->Mounts();
  umount2(this->File("port/deep").c_str(), MNT_DETACH);
  fs::remove_all(this->File("port"));
  fs::create_symlink("/nowhere", this->File("port"));
  this->Pull();
  EXPECT_EQ(this->Status("index"), kLoss);
  EXPECT_EQ(this->Index({"--accept-loss"})["deleted"].asInt(), 4);
  const MountRecord left = ParseMountText(this->Mounts());
  ASSERT_EQ(left.size(), 1U) << this->Mounts() << " of " << both;
  EXPECT_EQ(left.begin()->first, "port/deep");
}

TYPED_TEST(SubMountsTest, AnOverlayOfTwoFileSystemsIsOne) {
  this->Bind();
  this->MakePhotos();
  this->Pull();
  const fs::path memory = this->scratch() / "memory";
  fs::create_directories(memory);
  ASSERT_EQ(mount("none", memory.c_str(), "tmpfs", 0, nullptr), 0);
  fs::create_directories(memory / "upper");
  fs::create_directories(memory / "work");
  const std::string layers = "lowerdir=" + this->Backing().string() +
                             ",upperdir=" + (memory / "upper").string() +
                             ",workdir=" + (memory / "work").string();
  const bool mounted = mount("none", this->Stick().c_str(), "overlay", 0, layers.c_str()) == 0;
  const int error = errno;
  umount2(memory.c_str(), MNT_DETACH);
  if (!mounted) GTEST_SKIP() << "no overlay of these here: " << std::strerror(error);
  this->Index();
  fs::remove(this->Stick() / "deep/1.jpg");
  EXPECT_EQ(this->Index()["deleted"].asInt(), 1);
  EXPECT_EQ(this->Count(), "3");
}

TEST(MountRecord, OfSeveralDevicesIsNoneOfThem) {
  const MountRecord mounts{{"stick", {7, 0xffff0000ffff0000}}, {"a b/\n:c", {1}}};
  EXPECT_EQ(ParseMountText(MountText(mounts)), mounts);
  EXPECT_EQ(ParseMountText(MountText({})), MountRecord());
  EXPECT_EQ(RecordedDevice(mounts, "stick/deep/a.jpg"), kSomeOtherDevice);
  EXPECT_EQ(RecordedDevice(mounts, "stick"), kSomeOtherDevice);
  EXPECT_EQ(RecordedDevice(mounts, "a b/\n:c/x.jpg"), 1U);
  EXPECT_EQ(RecordedDevice(mounts, "sticks/a.jpg"), 0U);
  EXPECT_EQ(RecordedDevice(mounts, "a b/x.jpg"), 0U);
}

}  // namespace
