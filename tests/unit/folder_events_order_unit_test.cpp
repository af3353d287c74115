// The order of the steps of a folder event, and what a step that fails keeps from happening.
#include "support/call_order.h"
#include "support/index_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FolderEventOrder : public IndexLibraryTest {
 protected:
  void SetUp() override {
    IndexLibraryTest::SetUp();
    Set("albumdefpublic", "no");
  }
  void AnswerPrivateParent() {
    Answer({.match = "sharename = '2024'", .rows = {{{"public", "f"}, {"password", ""}, {"shareid", "7"}}}});
  }
  // The public flag with which the album of FOLDER is made while the default is VALUE.
  std::string FlagWithDefault(const std::string& value) {
    Set("albumdefpublic", value);
    fake().statements.clear();
    EXPECT_EQ(IndexDirAdd(Folder(shared() + "/2024").c_str()), 0);
    const auto sent = Sent("INSERT INTO photo_share");
    const std::string start = "'2024', '', '', '";
    const auto at = sent.size() == 1 ? sent[0].find(start) : std::string::npos;
    return at == std::string::npos ? "" : sent[0].substr(at + start.size(), 1);
  }
};

TEST_F(FolderEventOrder, AKnownAlbumIsOpenedToo) {
  AnswerRows("sharename='2024'", 1);
  const std::string folder = Folder(shared() + "/2024");
  ASSERT_EQ(IndexDirAdd(folder.c_str()), 0);
  EXPECT_EQ(fake().Count("KAVOBeneathMode(" + shared() + ", " + folder + ", 0777)"), 1);
}

TEST_F(FolderEventOrder, AnAlbumWithoutItsRightsIsNotOpened) {
  AnswerPrivateParent();
  EXPECT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), -1);
  EXPECT_EQ(Sent("INSERT INTO photo_share").size(), 1U);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
}

TEST_F(FolderEventOrder, AFolderIsOpenedAfterItsAlbumHasItsRights) {
  AnswerPrivateParent();
  Answer({.match = "sharename = '2024/trip'", .rows = {{{"shareid", "8"}}}});
  ASSERT_EQ(IndexDirAdd(Folder(shared() + "/2024/trip").c_str()), 0);
  const std::string save = "KAVODBExecute(INSERT INTO photo_share";
  const std::string rights = "KAVODBExecute(DELETE FROM photo_access_right";
  EXPECT_THAT(OrderOf({save, rights, "KAVOBeneathMode"}), ElementsAre(save, rights, "KAVOBeneathMode"));
}

TEST_F(FolderEventOrder, ARenameInPlaceOpensNothing) {
  AnswerRows("sharename='old'", 1);
  Answer({.match = "set sharename = ", .affected = 1});
  Answer({.match = "SET cover", .affected = 1});
  ASSERT_EQ(IndexDirRename(Folder(shared() + "/new").c_str(), (shared() + "/old").c_str()), 0);
  EXPECT_EQ(Sent("set sharename = 'new'").size(), 1U);
  EXPECT_EQ(fake().Count("KAVOBeneathMode"), 0);
}

TEST_F(FolderEventOrder, TheNewNameIsClearedBeforeAnythingIsAskedAboutIt) {
  WriteFile(shared() + "/new/@eaDir/KAVOPHOTO_PUBLIC", "1");
  ASSERT_EQ(IndexDirRename((shared() + "/new").c_str(), (shared() + "/old").c_str()), 0);
  const std::string clear = "KAVODBExecute(DELETE FROM photo_image WHERE path like '" + shared() + "/new/%'";
  const std::string id = "KAVODBSelectLimit(SELECT * FROM photo_share WHERE shareid > 0";
  const std::string rename = "KAVODBExecute(Update photo_share set sharename = 'new'";
  EXPECT_THAT(OrderOf({clear, id, "KAVOBeneathOpen", rename}),
              ElementsAre(clear, id, "KAVOBeneathOpen", rename));
}

TEST_F(FolderEventOrder, OnlyTheWholeWordMakesAlbumsPublic) {
  EXPECT_EQ(FlagWithDefault("yes"), "t");
  for (const char* value : {"", "y", "ye", "yes ", " yes", "yess", "yesterday", "true", "1"}) {
    EXPECT_EQ(FlagWithDefault(value), "f") << '"' << value << '"';
  }
}

TEST_F(FolderEventOrder, TheSweepAsksNothingAboutMounts) {
  fake().remote_paths.insert(shared());
  ASSERT_EQ(IndexPreReindex(shared().c_str()), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
  ASSERT_EQ(IndexPostReindex(shared().c_str()), 0);
  EXPECT_EQ(Sent("DELETE FROM photo_image WHERE updated = '0'").size(), 1U);
}

}  // namespace
