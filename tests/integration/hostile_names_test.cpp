// Names chosen to break out of statements, patterns, formats and logs, as file, folder, title, keyword and
// person names: they are stored as they are or refused, and no statement ever changes its meaning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "support/databases.h"
#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/media_record.h"
#include "support/scaled.h"
#include "support/sql_literal.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// Each way of writing them is tried with all of them, and with a third where that takes minutes.
std::vector<std::string> Names() {
  constexpr std::size_t kStep = Scaled(1, 3);
  const std::vector<std::string> all = HostileNames();
  std::vector<std::string> names;
  for (std::size_t i = 0; i < all.size(); i += kStep) names.push_back(all[i]);
  return names;
}

class HostileNamesTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (IsSkipped()) return;
    Run("CREATE TABLE inj_canary (name TEXT); INSERT INTO inj_canary VALUES ('alive');");
    MakeJpeg(Path("plain.jpg"), 8, 6);
  }

  void TearDown() override {
    if (!IsSkipped()) {
      EXPECT_EQ(Value("SELECT name FROM inj_canary"), "alive");
      Run("DROP TABLE inj_canary");
    }
    LibraryTest::TearDown();
  }

  int Add(const std::string& relative, const std::string& title = "a title") {
    KAVO_MEDIA_INFO record = RecordOf(Path(relative));
    CopyText(record.szTitle, sizeof record.szTitle, title);
    return IndexAdd(&record, kIndexed);
  }

  void Copy(const std::string& relative) {
    fs::create_directories(fs::path(Path(relative)).parent_path());
    fs::copy_file(Path("plain.jpg"), Path(relative), fs::copy_options::overwrite_existing);
  }

  std::string CountOf(const std::string& table, const std::string& column, const std::string& text) {
    return Value("SELECT count(*) FROM " + table + " WHERE " + column + " = " + SqlLiteral(text));
  }
};

TEST_P(HostileNamesTest, AreStoredAsFileAndFolderNamesAndRemovedAlone) {
  int photos = 0;
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    const std::string relative = name + "/" + name + ".jpg";
    Copy(relative);
    EXPECT_EQ(IndexDirAdd(Path(name).c_str()), 0);
    EXPECT_EQ(Add(relative), 0);
    EXPECT_EQ(CountOf("photo_image", "path", Key(relative)), "1");
    EXPECT_EQ(CountOf("photo_share", "sharename", name), "1");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), std::to_string(++photos));
  }
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    const std::string relative = name + "/" + name + ".jpg";
    fs::remove(Path(relative));
    EXPECT_EQ(IndexDelete(Path(relative).c_str()), 0);
    EXPECT_EQ(CountOf("photo_image", "path", Key(relative)), "0");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), std::to_string(--photos));
  }
}

TEST_P(HostileNamesTest, AFolderDeleteTakesOnlyWhatIsBelowIt) {
  for (const std::string& name : Names()) {
    Copy(name + "/photo.jpg");
    ASSERT_EQ(Add(name + "/photo.jpg"), 0) << name;
  }
  std::size_t left = Names().size();
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(IndexDirDelete(Path(name).c_str()), 0);
    EXPECT_EQ(CountOf("photo_image", "path", Key(name + "/photo.jpg")), "0");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), std::to_string(--left));
  }
}

TEST_P(HostileNamesTest, AreRenamedWithTheirIds) {
  Copy("start.jpg");
  ASSERT_EQ(Add("start.jpg"), 0);
  const std::string id = Value("SELECT id FROM photo_image");
  std::string old_name = "start.jpg";
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    const std::string new_name = name + ".jpg";
    fs::rename(Path(old_name), Path(new_name));
    KAVO_MEDIA_INFO record{};
    CopyText(record.szPath, sizeof record.szPath, Path(new_name));
    EXPECT_EQ(IndexRename(&record, kIndexed, Path(old_name).c_str()), 0);
    EXPECT_EQ(Value("SELECT id FROM photo_image WHERE path = " + SqlLiteral(Key(new_name))), id);
    old_name = new_name;
  }
}

TEST_P(HostileNamesTest, AreRenamedAsFoldersWithTheirIds) {
  fs::create_directories(Path("start"));
  ASSERT_EQ(IndexDirAdd(Path("start").c_str()), 0);
  const std::string id = Value("SELECT shareid FROM photo_share WHERE sharename = 'start'");
  std::string old_name = "start";
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    fs::rename(Path(old_name), Path(name));
    EXPECT_EQ(IndexDirRename(Path(name).c_str(), Path(old_name).c_str()), 0);
    EXPECT_EQ(Value("SELECT shareid FROM photo_share WHERE sharename = " + SqlLiteral(name)), id);
    EXPECT_EQ(Value("SELECT count(*) FROM photo_share"), "2");
    old_name = name;
  }
}

TEST_P(HostileNamesTest, AreReindexedAlone) {
  std::size_t left = 0;
  for (const std::string& name : Names()) {
    Copy(name + "/photo.jpg");
    ASSERT_EQ(Add(name + "/photo.jpg"), 0) << name;
    ++left;
  }
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(IndexPreReindex(Path(name).c_str()), 0);
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image WHERE updated = '0'"), "1");
    EXPECT_EQ(IndexPostReindex(Path(name).c_str()), 0);
    EXPECT_EQ(CountOf("photo_image", "path", Key(name + "/photo.jpg")), "0");
    EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), std::to_string(--left));
  }
}

TEST_P(HostileNamesTest, AreMovedAsKeysOfAVideosSideRows) {
  ASSERT_EQ(HGAStatusCheck(Path("plain.jpg").c_str()), 0);
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 2, 'x')");
  Run("INSERT INTO video_desc (path, title) VALUES (" + SqlLiteral(Key("start.mp4")) + ", 'a title')");
  Run("INSERT INTO video_comment (path, comment) VALUES (" + SqlLiteral(Key("start.mp4")) + ", 'a comment')");
  Run("INSERT INTO photo_video_label (video_path, label_id) VALUES (" + SqlLiteral(Key("start.mp4")) +
      ", 1)");
  std::string old_name = "start.mp4";
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    const std::string new_name = name + ".mp4";
    for (const auto type : {PHOTO_TABLE_VIDEO_DESC, PHOTO_TABLE_VIDEO_COMMENT, PHOTO_TABLE_VIDEO_LABEL}) {
      EXPECT_EQ(KAVOPhotoInfoVideoRename(type, Path(new_name).c_str(), Path(old_name).c_str()), 0);
    }
    EXPECT_EQ(CountOf("video_desc", "path", Key(new_name)), "1");
    EXPECT_EQ(CountOf("video_comment", "path", Key(new_name)), "1");
    EXPECT_EQ(CountOf("photo_video_label", "video_path", Key(new_name)), "1");
    old_name = new_name;
  }
}

TEST_P(HostileNamesTest, AreStoredAsTitles) {
  Copy("photo.jpg");
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Add("photo.jpg", name), 0);
    EXPECT_EQ(CountOf("photo_image", "title", name), "1");
  }
}

TEST_P(HostileNamesTest, AreStoredAsLabelsOfBothKinds) {
  Copy("photo.jpg");
  ASSERT_EQ(Add("photo.jpg"), 0);
  const std::string path = Path("photo.jpg");
  for (const std::string& name : Names()) {
    SCOPED_TRACE(name);
    for (const int category : {0, 2}) {
      const int label = PhotoInfoDBLabelCheck(path.c_str(), name.c_str(), category);
      EXPECT_GT(label, 0);
      EXPECT_EQ(PhotoInfoDBLabelCheck(path.c_str(), name.c_str(), category), label);
      EXPECT_GT(PhotoInfoDBImageLabelDataAdd(PhotoInfoDBPhotoIdGet(path.c_str()), label, name.c_str(), "t"),
                0);
    }
    EXPECT_EQ(CountOf("photo_label", "name", name), "2");
    EXPECT_EQ(CountOf("photo_image_label", "info_new", name), "2");
  }
}

TEST_P(HostileNamesTest, WithBytesThatAreNotTextAreRefusedWithAMessage) {
  for (const std::string& name : HostileBytes()) {
    SCOPED_TRACE(name);
    Copy(name + ".jpg");
    SyslogCapture::Clear();
    EXPECT_EQ(Add(name + ".jpg"), -1);
    EXPECT_THAT(SyslogCapture::Messages(),
                testing::Contains("photo_database.cpp (#) Invalid path : " + Key(name + ".jpg")));
    fs::remove(Path(name + ".jpg"));
    IndexDelete(Path(name + ".jpg").c_str());
  }
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "0");
}

INSTANTIATE_TEST_SUITE_P(Engines, HostileNamesTest, BothEngines(), EngineName);

}  // namespace
