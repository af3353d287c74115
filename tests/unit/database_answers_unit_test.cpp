// What the answers of the database library mean: -1 is failure and every other number is not; the connection
// tells its engine; a result that came with a failure is no result.
#include <json/value.h>

#include "photo_database/cursor.h"
#include "platform/string_list.h"
#include "support/call_order.h"
#include "support/index_library.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class DatabaseAnswers : public IndexLibraryTest {
 protected:
  void Instead(const std::string& function, int usual, int other) {
    fake().instead[{function, usual}] = other;
  }
  std::string Photo() const { return shared() + "/trip/a.jpg"; }
  static Json::Value Record(const std::string& path) {
    Json::Value info = InfoOf(path);
    info["szName"] = "a.jpg";
    info["szTitle"] = "a title";
    return info;
  }
  // The numbers of the connections that the statements with PART went over.
  static std::vector<int> ConnectionsOf(const std::string& part) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < fake().statements.size(); ++i) {
      if (fake().statements[i].find(part) != std::string::npos) numbers.push_back(fake().sent_over[i]);
    }
    return numbers;
  }
};

// --- Success and failure.

TEST_F(DatabaseAnswers, StatementsSucceedWithEveryNumberButMinusOne) {
  for (const int answer : {1, 7, -2}) {
    Instead("KAVODBExecute", 0, answer);
    SyslogCapture::Clear();
    EXPECT_EQ(PhotoDBExec("UPDATE"), 0) << answer;
    EXPECT_EQ(PhotoDBVacuum(), 0) << answer;
    EXPECT_EQ(PhotoInfoDBVersionUpdate(Photo().c_str(), 3), 0) << answer;
    EXPECT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, Photo().c_str()), 0) << answer;
    EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "7"), 0) << answer;
    EXPECT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(3, 4), 0) << answer;
    EXPECT_EQ(PhotoInfoDBImageLabelDeleteByImage(3), 0) << answer;
    EXPECT_THAT(Messages(), IsEmpty()) << answer;
  }
}

TEST_F(DatabaseAnswers, QueriesSucceedWithEveryNumberButMinusOne) {
  Answer({.match = "select version", .rows = {{{"version", "3"}}}});
  Answer({.match = "SELECT shareid", .rows = {{{"shareid", "5"}}}});
  Answer({.match = "photo_config", .rows = {{{"config_value", "on"}}}});
  Answer({.match = "photo_label", .rows = {{{"id", "12"}}}});
  for (const int answer : {1, 7, -2}) {
    Instead("KAVODBExecute", 0, answer);
    Instead("KAVODBSelectLimit", 0, answer);
    Instead("KAVODBFetchRow", 0, answer);
    EXPECT_EQ(PhotoInfoDBVersionGet(Photo().c_str()), 3) << answer;
    EXPECT_EQ(getShareIdBySharename("trip"), 5) << answer;
    EXPECT_EQ(PhotoInfoDBLabelCheck(Photo().c_str(), "Ann", 0), 12) << answer;
    char value[8] = "";
    EXPECT_EQ(PhotoInfoDBConfigGet("key", value, sizeof value), 0) << answer;
    EXPECT_STREQ(value, "on");
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(DatabaseAnswers, AForeignKeysPragmaSucceedsWithEveryNumberButMinusOne) {
  UsePersonal();
  for (const int answer : {1, -2}) {
    Instead("KAVODBExecute", 0, answer);
    EXPECT_EQ(PhotoDBExec("UPDATE"), 0);
  }
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(fake().without_result, ElementsAre("PRAGMA foreign_keys = ON;", "PRAGMA foreign_keys = ON;"));
}

TEST_F(DatabaseAnswers, SavesSucceedWithEveryNumberButMinusOne) {
  for (const int answer : {1, -2}) {
    Instead("KAVODBExecute", 0, answer);
    Instead("KAVODBSelectLimit", 0, answer);
    Json::Value info = Record(Photo());
    EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &info), 0) << answer;
    EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_VIDEO, &info), 0) << answer;
    EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_VIDEO_DESC, &info), 0) << answer;
  }
}

TEST_F(DatabaseAnswers, ChangedRowsBelowMinusOneAreNoFailure) {
  Answer({.match = "", .affected = -2});
  EXPECT_EQ(PhotoDBExec("UPDATE"), -2);
  EXPECT_EQ(PhotoDBVacuum(), 0);
  EXPECT_EQ(KAVOPhotoInitAllRows(shared().c_str()), 0);
  EXPECT_EQ(KAVOPhotoShareInitAllRows(shared().c_str()), 0);
  EXPECT_EQ(KAVOPhotoDeleteNoUpdateRows(shared().c_str()), 0);
  EXPECT_EQ(KAVOPhotoShareDeleteNoUpdateRows(shared().c_str()), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(DatabaseAnswers, AVacuumMayChangeRows) {
  Answer({.match = "VACUUM ANALYZE", .affected = 9});
  EXPECT_EQ(PhotoDBVacuum(), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(DatabaseAnswers, AConditionFailsWithEveryNegativeNumber) {
  AnswerRows("FROM photo_image WHERE", 2);
  Instead("EscapeConditionEX2", 0, 5);
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "path", "a = 'b'", nullptr), 2);
  for (const int answer : {-1, -2}) {
    Instead("EscapeConditionEX2", 0, answer);
    EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "path", "a = 'b'", nullptr), -1) << answer;
  }
  EXPECT_EQ(Sent("SELECT").size(), 1U);
}

TEST_F(DatabaseAnswers, ASharePathFailsWithEveryNegativeNumber) {
  const int length = static_cast<int>(shared().size());
  Instead("KAVOSharePathGet", 0, length);
  EXPECT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_VIDEO_DESC, shared().c_str()), 0);
  EXPECT_THAT(Sent("DELETE"), ElementsAre("DELETE FROM video_desc;"));
  Instead("KAVOSharePathGet", 0, -2);
  EXPECT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_VIDEO_DESC, shared().c_str()), -1);
  EXPECT_EQ(LastMessage(), "photo_database.cpp (#) Failed to get photo share path");
}

TEST_F(DatabaseAnswers, TextIsUtf8ByEveryNumberButZero) {
  Instead("RLIBCUnicodeIsUTF8", 1, -1);
  Json::Value info = Record(Photo());
  EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &info), 0);
  EXPECT_THAT(Sent("INTO photo_image"), ElementsAre(HasSubstr("'a title'")));
}

// --- Results that came with a failure.

TEST_F(DatabaseAnswers, AResultThatCameWithAFailureIsNotRead) {
  Answer({.match = "", .rows = {{{"version", "3"}, {"shareid", "5"}, {"id", "6"}, {"config_value", "on"}}}});
  Instead("KAVODBExecute", 0, -1);
  Instead("KAVODBSelectLimit", 0, -1);
  EXPECT_EQ(PhotoDBExec("UPDATE"), -1);
  EXPECT_EQ(PhotoInfoDBVersionGet(Photo().c_str()), 0);
  EXPECT_EQ(getShareIdBySharename("trip"), -1);
  EXPECT_EQ(PhotoInfoDBLabelCheck(Photo().c_str(), "Ann", 0), -1);
  EXPECT_FALSE(PhotoInfoDBFaceRecognitionEnableGet());
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 1);
  EXPECT_EQ(fake().open_results, 0);
}

TEST_F(DatabaseAnswers, APersonalResultThatCameWithAFailureIsGivenBack) {
  UsePersonal();
  Instead("KAVODBSelectLimit", 0, -1);
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_EQ(fake().open_results, 0);
  EXPECT_EQ(fake().open_connections, 0);
}

// --- Engines.

TEST_F(DatabaseAnswers, StatementsAreBuiltForTheEngineOfTheirConnection) {
  fake().database_type = 7;
  Answer({.match = "FROM photo_image ", .rows = {{{"id", "5"}}}});
  PhotoInfoDBVersionGet(Photo().c_str());
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, select version"), 1);
  PhotoInfoDBVersionUpdate(Photo().c_str(), 1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, Update photo_image set version"), 1);
  getShareIdBySharename("trip");
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, SELECT shareid"), 1);
  PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, Photo().c_str());
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, DELETE FROM @KAVO:NEVAR"), 1);
  PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "7");
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, DELETE FROM @KAVO:NEVAR"), 2);
  PhotoInfoDBLabelCheck(Photo().c_str(), "Ann", 0);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, insert into photo_label"), 1);
  Json::Value info = Record(Photo());
  PhotoInfoDBSave(PHOTO_TABLE_VIDEO, &info);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, INSERT INTO video"), 1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(7, path = '@KAVO:VAR'"), 1);
}

TEST_F(DatabaseAnswers, ConditionsOfCursorsAreBuiltForTheEngineOfTheRequest) {
  fake().database_type = 7;
  KAVO_MEDIA_INFO record;
  PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Photo().c_str(), &record);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1, path like "), 1);
  PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "*", "a = 'b'", "");
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, "), 1);
  char value[8] = "";
  PhotoInfoDBConfigGet("key", value, sizeof value);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1, config_key = "), 1);
  KAVOPhotoShareGetFieldValue("trip", "shareid", value, sizeof value);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1, sharename = "), 1);
  PhotoInfoDBRename((shared() + "/b.jpg").c_str(), Photo().c_str());
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1, Update photo_image"), 1);
}

// --- Numbers.

TEST_F(DatabaseAnswers, NumbersAreDecimalWhateverTheyBeginWith) {
  Answer({.match = "select version", .rows = {{{"version", "010"}}}});
  Answer({.match = "SELECT shareid", .rows = {{{"shareid", "0x1F"}}}});
  Answer({.match = "shareid > 0", .rows = {{{"shareid", "012"}}}});
  EXPECT_EQ(PhotoInfoDBVersionGet(Photo().c_str()), 10);
  EXPECT_EQ(getShareIdBySharename("trip"), 0);
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 13);
  Answer({.match = "FROM video", .rows = {{{"id", "017"}, {"filesize", "0x20"}, {"frequency", "044100"}}}});
  KAVO_MEDIA_INFO record;
  ASSERT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_VIDEO, Photo().c_str(), &record), 0);
  EXPECT_EQ(record.ID, 17U);
  EXPECT_EQ(record.fileSize, 0U);
  EXPECT_EQ(record.frequency, 44100);
}

TEST_F(DatabaseAnswers, RowsHoldNumbersToTheLimitsOfTheirFields) {
  Answer({.match = "FROM video",
          .rows = {{{"id", "4294967295"},
                    {"filesize", "9223372036854775807"},
                    {"frame_bitrate", "4294967295"},
                    {"video_bitrate", "2147483648"},
                    {"audio_bitrate", "-1"},
                    {"resolutionX", "-2147483648"},
                    {"duration", "16777216"}}}});
  KAVO_MEDIA_INFO record;
  ASSERT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_VIDEO, Photo().c_str(), &record), 0);
  EXPECT_EQ(record.ID, 4294967295U);
  EXPECT_EQ(record.fileSize, 9223372036854775807ULL);
  EXPECT_EQ(record.frame_bitrate, 4294967295U);
  EXPECT_EQ(record.video_bitrate, 2147483648U);
  EXPECT_EQ(record.audio_bitrate, 4294967295U);
  EXPECT_EQ(record.resolutionX, INT32_MIN);
  EXPECT_EQ(record.duration, 16777216.0F);
}

TEST_F(DatabaseAnswers, EveryFlagButZeroAsksForTheEndOfThePath) {
  KAVO_MEDIA_INFO record;
  for (const int flag : {1, 2, -1}) {
    PhotoInfoDBGetOneEx(PHOTO_TABLE_IMAGE, Photo().c_str(), &record, flag);
    EXPECT_THAT(fake().statements.back(), HasSubstr("path like '%" + Photo())) << flag;
  }
}

TEST_F(DatabaseAnswers, AlbumFlagsAreEveryNumberButZero) {
  const auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  std::snprintf(album->szShareName, sizeof album->szShareName, "a/b");
  for (const int flag : {2, -1}) {
    album->isPublic = flag;
    album->isSubdir = flag;
    fake().statements.clear();
    ASSERT_EQ(PhotoShareInfoDBSave(album.get()), 0);
    EXPECT_THAT(Sent("INSERT"), ElementsAre(HasSubstr("'a/b', '', '', 't', 0, '', 'f', 't', '1', 't'")))
        << flag;
  }
}

// --- Settings.

TEST_F(DatabaseAnswers, ExcludedFormatsAreSeparatedByFourCharactersAndNoOthers) {
  Answer({.match = "excluding_index_format", .rows = {{{"config_value", "a b,c.d;e\tf|g\nh:i/j"}}}});
  RLIBCSZLIST* list = PhotoInfoDBExcludeFormatListGet();
  std::vector<std::string> formats;
  for (int i = 0; i < RLIBCSzListCount(list); ++i) formats.emplace_back(RLIBCSzListGet(list, i));
  RLIBCSzListFree(list);
  EXPECT_THAT(formats, ElementsAre("a", "b", "c", "d", "e\tf|g\nh:i/j"));
}

TEST_F(DatabaseAnswers, ExtensionsOfExcludedFormatsAreTakenFromTheWholePath) {
  Answer({.match = "excluding_index_format", .rows = {{{"config_value", "d/name"}}}});
  EXPECT_EQ(IsExcludeFormat("/p/folder.d/name"), 1);
  EXPECT_EQ(IsExcludeFormat("/p/folder.d/name.d/nam"), 0);
}

TEST_F(DatabaseAnswers, SwitchesAreTheWholeWordInSmallLetters) {
  const auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  std::snprintf(album->szShareName, sizeof album->szShareName, "trip");
  for (const char* value : {"ON", "On", "o", "on ", "one", "yes", "1", ""}) {
    fake().answers = {{.match = "config_key", .rows = {{{"config_value", value}}}}};
    fake().statements.clear();
    ASSERT_EQ(PhotoShareInfoDBSave(album.get()), 0);
    EXPECT_THAT(Sent("INSERT"), ElementsAre(HasSubstr("'', 'f', 'f', '1', 't'"))) << value;
  }
  fake().answers = {{.match = "config_key", .rows = {{{"config_value", "on"}}}}};
  fake().statements.clear();
  ASSERT_EQ(PhotoShareInfoDBSave(album.get()), 0);
  EXPECT_THAT(Sent("INSERT"), ElementsAre(HasSubstr("'', 't', 'f', '1', 'f'")));
}

// --- Orders and connections.

TEST_F(DatabaseAnswers, TheAccountSystemIsReadBeforeTheAlbumsOfARight) {
  const auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
  std::snprintf(album->szShareName, sizeof album->szShareName, "a/b");
  EXPECT_EQ(PhotoSharePriviledgeDBSave(album.get()), -1);
  const std::string accounts =
      "KAVODBSelectLimit(SELECT * FROM photo_config WHERE config_key = 'account_system'";
  const std::string albums = "KAVODBSelectLimit(SELECT * FROM photo_share";
  EXPECT_THAT(OrderOf({accounts, albums}), ElementsAre(accounts, albums));
}

TEST_F(DatabaseAnswers, ARenameAsksForTheAlbumsBeforeTheTitle) {
  PhotoInfoDBRename((shared() + "/trip/b.jpg").c_str(), Photo().c_str());
  const std::string albums = "KAVODBExecute(SELECT shareid";
  const std::string title = "KAVODBSelectLimit(SELECT title FROM photo_image";
  const std::string rename = "KAVODBExecute(Update photo_image";
  EXPECT_THAT(OrderOf({albums, title, rename}), ElementsAre(albums, title, rename));
}

TEST_F(DatabaseAnswers, AVideosSideRowsMoveOverTheConnectionOfTheirQuery) {
  UsePersonal();
  Answer({.match = "SELECT path FROM video_comment", .rows = {{{"path", "old.mp4"}}}});
  const std::string new_path = personal() + "/new.mp4";
  const std::string old_path = personal() + "/old.mp4";
  ASSERT_EQ(KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_COMMENT, new_path.c_str(), old_path.c_str()), 0);
  EXPECT_EQ(ConnectionsOf("Update video_comment"), ConnectionsOf("SELECT path FROM video_comment"));
  EXPECT_EQ(fake().connections, 1);
  EXPECT_THAT(Sent("Update video_comment"), ElementsAre(HasSubstr("'new.mp4'")));
}

TEST_F(DatabaseAnswers, ASaveWritesOverTheConnectionThatItOpenedFirst) {
  UsePersonal();
  Json::Value info = Record(personal() + "/a.jpg");
  ASSERT_EQ(PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &info), 0);
  // The format rule has one before.
  EXPECT_THAT(ConnectionsOf("INSERT INTO photo_image (path"), ElementsAre(2));
}

TEST_F(DatabaseAnswers, ADeleteAndTheCleanUpOfLabelsGoOverOneConnection) {
  UsePersonal();
  ASSERT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, (personal() + "/a.jpg").c_str()), 0);
  EXPECT_THAT(ConnectionsOf("DELETE"), ElementsAre(1, 1));
}

TEST_F(DatabaseAnswers, RightsAreDeletedOverOneConnectionOfTheirOwn) {
  UsePersonal();
  ASSERT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "7"), 0);
  EXPECT_THAT(fake().sent_over, ElementsAre(1, 1));
}

TEST_F(DatabaseAnswers, NoResultIsAskedForWhereNoneIs) {
  ASSERT_EQ(PhotoInfoDBDelete(PHOTO_TABLE_IMAGE, Photo().c_str()), 0);
  ASSERT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "7"), 0);
  ASSERT_EQ(PhotoInfoDBVersionUpdate(Photo().c_str(), 1), 0);
  AnswerRows("FROM video_desc WHERE", 1);
  fake().answers.back().rows[0] = {{"path", shared() + "/old.mp4"}};
  ASSERT_EQ(KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_DESC, (shared() + "/new.mp4").c_str(),
                                     (shared() + "/old.mp4").c_str()),
            0);
  ASSERT_EQ(PhotoInfoDBFaceRecognitionUpdateImageLabel(3, 4), 0);
  EXPECT_THAT(fake().without_result,
              ElementsAre(StartsWith("DELETE FROM photo_image"), StartsWith("DELETE FROM photo_label"),
                          StartsWith("DELETE FROM photo_access_right"), StartsWith("Update photo_image"),
                          StartsWith("Update video_desc"), StartsWith("update photo_image_label")));
}

TEST_F(DatabaseAnswers, LookUpsOfOneRowAskForOneAndTheOthersForAll) {
  char value[8] = "";
  KAVOPhotoShareGetFieldValue("trip", "shareid", value, sizeof value);
  PhotoInfoDBConfigGet("key", value, sizeof value);
  KAVOPhotoShareGetNewId();
  PhotoInfoDBPhotoIdGet(Photo().c_str());
  int asked = 0;
  for (const auto& call : fake().calls) {
    if (!call.starts_with("KAVODBSelectLimit(")) continue;
    EXPECT_THAT(call, testing::EndsWith(", 1, 0)"));
    ++asked;
  }
  EXPECT_EQ(asked, 4);
  fake().calls.clear();
  KAVO_MEDIA_INFO record;
  PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Photo().c_str(), &record);
  PhotoInfoDBIsDefaultTitle(1, PHOTO_TABLE_IMAGE, Photo().c_str());
  PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, "7", "8");
  KAVOPhotoInfoVideoRename(PHOTO_TABLE_VIDEO_DESC, "/new.mp4", "/old.mp4");
  asked = 0;
  for (const auto& call : fake().calls) {
    if (!call.starts_with("KAVODBSelectLimit(")) continue;
    EXPECT_THAT(call, testing::EndsWith(", 0, 0)"));
    ++asked;
  }
  EXPECT_EQ(asked, 4);
}

TEST_F(DatabaseAnswers, CountsAskForEveryRow) {
  PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "*", "a = 'b'", "");
  PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "*", nullptr, "");
  int asked = 0;
  for (const auto& call : fake().calls) {
    if (!call.starts_with("KAVODBSelectLimit(")) continue;
    EXPECT_THAT(call, testing::EndsWith(", -1, -1)"));
    ++asked;
  }
  EXPECT_EQ(asked, 2);
}

// --- Ownership.

TEST_F(DatabaseAnswers, AConnectionIsClosedByTheRequestThatOpenedIt) {
  UsePersonal();
  MEDIA_DB_HANDLER* personal_rows =
      PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0);
  ASSERT_EQ(HGAStatusCheck(Photo().c_str()), 0);
  EXPECT_EQ(PhotoDBExec("UPDATE"), 0);
  PhotoInfoDBClose(personal_rows);
  EXPECT_EQ(fake().open_connections, 1);
  EXPECT_EQ(PhotoDBExec("UPDATE"), 0);
  EXPECT_EQ(fake().connections, 2);
}

TEST_F(DatabaseAnswers, ASaveDuringWhichTheRequestIsLostClosesItsConnection) {
  UsePersonal();
  Json::Value info = Record(personal() + "/a.jpg");
  WriteFile(personal() + "/a.jpg", "");
  fake().programs = {{"exiv2", {0, ""}}};
  // Another path of the shared tree is checked while the position is read.
  fake().on_program = [&](const std::string&) { EXPECT_EQ(HGAStatusCheck("/shared/x.jpg"), 0); };
  EXPECT_EQ(PhotoInfoDBSave(PHOTO_TABLE_IMAGE, &info), 0);
  PhotoDBConnClose();
  EXPECT_EQ(fake().open_connections, 0);
}

}  // namespace
