// The appliance's file tree at its real paths, without LUMIVAULT_ROOT, in a mount namespace of this program's
// own.
#include <gmock/gmock.h>
#include <stdlib.h>

#include "lumivault/photo_database.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "platform/process.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"
#include "support/private_namespace.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kPreviewTool = "/var/packages/Lumivault/target/bin/kavophoto_extract_preview";
constexpr const char* kConversionTool = "/usr/kavo/bin/kavoflvconv";
constexpr const char* kUserList = "/etc/kavo/personal.conf";
constexpr const char* kQueue = "/var/services/photo/@eaDir/kavophoto_face.queue";

// Why there is no namespace, or "".
const std::string& Refusal() {
  static const std::string refusal =
      EnterPrivateNamespace({"/etc/kavo", "/usr/kavo", "/var/packages", "/var/services"});
  return refusal;
}

class RealPathsTest : public LibraryTest {
 protected:
  RealPathsTest()
      : LibraryTest(Refusal().empty() ? ApplianceTree::Place::kReal : ApplianceTree::Place::kTemporary) {}

  void SetUp() override {
    if (!Refusal().empty()) GTEST_SKIP() << "no mount namespace of its own: " << Refusal();
    ASSERT_EQ(getenv("LUMIVAULT_ROOT"), nullptr);
    LibraryTest::SetUp();
  }

  // Makes TOOL a program that writes its arguments down.
  fs::path NotesOf(const char* tool) {
    const fs::path notes = photos() / "notes";
    WriteFile(tool, "#!/bin/sh\necho \"$@\" >> '" + notes.string() + "'\n");
    fs::permissions(tool, fs::perms::owner_all);
    return notes;
  }

  int Add(const std::string& relative) {
    MakeJpeg(photos() / relative, 8, 6, {{"Exif.Image.Make", "Maker"}});
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    return IndexAdd(&record, kIndexed);
  }
};

// The database of a person is made by the command of /usr/kavo/bin from the schema in /var/packages.
TEST_P(RealPathsTest, CheckFindsTheLibrary) {
  EXPECT_EQ(HGAStatusIsHGARequest(), personal() ? 1 : 0);
  EXPECT_EQ(fs::path(PhotoUtilPhotoDirGet()), tree().shared());
  EXPECT_EQ(fs::exists(photos() / ".KAVOHGADB"), personal());
  EXPECT_EQ(fs::read_symlink("/var/services/photo"), tree().shared());
}

TEST_P(RealPathsTest, AddWritesThePhoto) {
  WriteFile(photos() / "2024/@eaDir/a.jpg/KAVOPHOTO_TITLE", "Harbour");
  ASSERT_EQ(Add("2024/a.jpg"), 0);
  EXPECT_THAT(Query("SELECT path, name, title FROM photo_image"),
              ElementsAre(Row{{"path", Key("2024/a.jpg")}, {"name", "a.jpg"}, {"title", "Harbour"}}));
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(RealPathsTest, AddStartsThePackagesTool) {
  const fs::path notes = NotesOf(kPreviewTool);
  ASSERT_EQ(Add("a.jpg"), 0);
  EXPECT_EQ(ReadFile(notes), Path("a.jpg") + "\n");
}

TEST_P(RealPathsTest, AddStartsTheConversionTool) {
  const fs::path notes = NotesOf(kConversionTool);
  WriteFile(photos() / "a.mkv", "video");
  KAVO_MEDIA_INFO record = RecordOf(Path("a.mkv"));
  ASSERT_EQ(IndexAdd(&record, kIndexed), 0);
  EXPECT_EQ(ReadFile(notes), "-f " + Path("a.mkv") + "\n");
}

TEST_P(RealPathsTest, UserOfTheListHasTheListedFolder) {
  tree().AddUser("bob");
  const fs::path listed = tree().personal("bob").parent_path() / "pictures";
  fs::create_directories(listed);
  WriteFile(kUserList, "bob=" + listed.string() + "\n");
  char owner[492] = "";
  EXPECT_EQ(IndexPhotoUserNameGet((listed / "a.jpg").c_str(), owner, sizeof owner), 0);
  EXPECT_STREQ(owner, "bob");
  fs::remove(kUserList);
}

TEST_P(RealPathsTest, AddQueuesThePhotoForFaces) {
  tree().Set("runfacerecognition", "yes");
  Run("INSERT INTO photo_config (config_key, config_value) VALUES ('enable_face_recognition', 'on')");
  ASSERT_EQ(Add("a.jpg"), 0);
  EXPECT_EQ(ReadFile(kQueue), "F:" + Path("a.jpg") + "\n" + (personal() ? "u:alice/a.jpg\n" : "w:a.jpg\n"));
}

TEST_P(RealPathsTest, DeleteRemovesTheRow) {
  ASSERT_EQ(Add("a.jpg"), 0);
  fs::remove(photos() / "a.jpg");
  ASSERT_EQ(IndexDelete(Path("a.jpg").c_str()), 0);
  EXPECT_THAT(Query("SELECT path FROM photo_image"), IsEmpty());
}

TEST_P(RealPathsTest, SwitchedOffPackageRefusesAPerson) {
  tree().EnablePackage(false);
  EXPECT_EQ(HGAStatusCheck(Path("a.jpg").c_str()), personal() ? -1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, RealPathsTest, BothEngines(), EngineName);

}  // namespace
