#include "unit/album_test.h"

#include <cstdlib>
#include <ctime>

#include "support/comma_locale.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr const char* kConnectFailed = "photo_database.cpp (#) Failed to connect to database";
constexpr const char* kNoRecords = "photo_database.cpp (#) Error occurred, failed to get records.";

// --- Ids and values.

using AlbumIdTest = AlbumTest;

TEST_F(AlbumIdTest, NewIdFollowsTheHighest) {
  Answer({.match = "shareid > 0", .rows = {{{"shareid", "41"}}}});
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 42);
  EXPECT_EQ(
      fake().Count(
          "KAVODBSelectLimit(SELECT * FROM photo_share WHERE shareid > 0  ORDER BY shareid desc, 1, 0)"),
      1);
}

TEST_F(AlbumIdTest, FirstIdWithoutAlbums) {
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 1);
  EXPECT_THAT(Messages(), IsEmpty());
}

using AlbumIdFailureTest = OnBothRequests<AlbumTest>;

TEST_P(AlbumIdFailureTest, FirstIdWhenTheHighestCannotBeRead) {
  Answer({.match = "shareid > 0", .rows = {{{"shareid", "41"}}}, .fetch_fails = true});
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 1);
  fake().failing = {"KAVODBConnect"};
  PhotoDBConnClose();
  EXPECT_EQ(KAVOPhotoShareGetNewId(), 1);
  EXPECT_THAT(Messages(), ElementsAre(kConnectFailed, kNoRecords));
}

TEST_F(AlbumIdTest, IdByName) {
  UsePersonal();
  AddAlbum("trip", "7");
  EXPECT_EQ(getShareIdBySharename("trip"), 7);
  EXPECT_EQ(getShareIdBySharename("other"), -1);
  EXPECT_THAT(Sent("'trip'"), ElementsAre("SELECT shareid FROM photo_share WHERE sharename = 'trip'"));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(0,"), 2);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_P(AlbumIdFailureTest, IdByName) {
  fake().failing_at = {{"KAVODBConnect", 1}, {"KAVODBEscapeStringEX3", 1}};
  Answer({.match = "SELECT shareid", .result = -1});
  EXPECT_EQ(getShareIdBySharename("trip"), -1);
  EXPECT_EQ(getShareIdBySharename("trip"), -1);
  EXPECT_EQ(getShareIdBySharename("trip"), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Failed to connect to photo database",
                          "photo_database.cpp:# Failed to exec [SELECT shareid FROM photo_share WHERE "
                          "sharename = 'trip'] (the error)"));
}

TEST_F(AlbumIdTest, IdsByPath) {
  AddAlbum("a/b/c", "3");
  AddAlbum("a/b", "2");
  int album = 0;
  int rights = 0;
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath((shared() + "/a/b/c/x.jpg").c_str(), &album, &rights), 0);
  EXPECT_EQ(album, 3);
  EXPECT_EQ(rights, 2);
}

TEST_F(AlbumIdTest, IdsOfALongPathAreThoseOfTheWholeName) {
  const std::string name(3000, 'n');
  AddAlbum(name, "3");
  int album = 0;
  int rights = 0;
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath((shared() + "/" + name + "/x.jpg").c_str(), &album, &rights), 0);
  EXPECT_EQ(album, 3);
  EXPECT_EQ(rights, 3);
}

TEST_F(AlbumIdTest, IdsOfUnknownAlbumsAreWrittenToo) {
  int album = 0;
  int rights = 0;
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath((shared() + "/a/x.jpg").c_str(), &album, &rights), 0);
  EXPECT_EQ(album, -1);
  EXPECT_EQ(rights, -1);
}

TEST_F(AlbumIdTest, IdsWithoutAPathFail) {
  int album = 5;
  int rights = 6;
  EXPECT_EQ(getShareIdPrivilegeShareIdByPath(nullptr, &album, &rights), -1);
  EXPECT_EQ(album, 5);
  EXPECT_EQ(rights, 6);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_util.cpp:# Bad parameter.", "photo_database.cpp:# Fail to get sharename: "));
}

TEST_F(AlbumIdTest, FieldValue) {
  Answer({.match = "sharename = 'trip'", .rows = {{{"conversion", "true"}}}});
  char out[4];
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("trip", "conversion", out, sizeof out), 0);
  EXPECT_STREQ(out, "tru");
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("trip", "nosuch", out, sizeof out), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(fake().Count("KAVODBSelectLimit(SELECT * FROM photo_share WHERE sharename = 'trip'  , 1, 0)"), 2);
}

TEST_F(AlbumIdTest, FieldValueWithoutARow) {
  char out[4] = "old";
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("trip", "conversion", out, sizeof out), -1);
  EXPECT_STREQ(out, "old");
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_P(AlbumIdFailureTest, FieldValue) {
  char out[4];
  fake().failing_at = {{"KAVODBEscapeStringEX3", 1}, {"KAVODBConnect", 1}};
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("trip", "conversion", out, sizeof out), -1);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_EQ(KAVOPhotoShareGetFieldValue("trip", "conversion", out, sizeof out), -1);
  EXPECT_THAT(Messages(), ElementsAre(kConnectFailed, kNoRecords));
}

INSTANTIATE_TEST_SUITE_P(Requests, AlbumIdFailureTest, BothRequests(), RequestName);

// --- Saving.

using AlbumSaveTest = AlbumTest;

TEST_F(AlbumSaveTest, NewTopAlbumRefersToItself) {
  const auto album = Album(9, "trip");
  album->isPublic = 1;
  EXPECT_EQ(PhotoShareInfoDBSave(album.get()), 0);
  EXPECT_THAT(Sent("INSERT"), ElementsAre(std::string(kInsertStart) +
                                          "9, 'trip', '', '', 't', 0, '', 'f', 'f', '1', 't', '9');"));
  EXPECT_EQ(Sent("sharename='trip'"),
            std::vector<std::string>{"SELECT * FROM photo_share WHERE  sharename='trip'   "});
}

TEST_F(AlbumSaveTest, NewSubAlbumRefersToItsTopAlbum) {
  AddAlbum("trip", "4");
  SetConfig("album_def_allow_comment", "on");
  SetConfig("def_album_disable_conversion", "on");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip/day").get()), 0);
  EXPECT_THAT(Sent("INSERT"), ElementsAre(std::string(kInsertStart) +
                                          "9, 'trip/day', '', '', 'f', 0, '', 'f', 't', '1', 't', '4');"));
}

TEST_F(AlbumSaveTest, NewSubAlbumOfAnAlbumWithALongName) {
  const std::string top(3000, 't');
  AddAlbum(top, "4");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, top + "/day").get()), 0);
  EXPECT_THAT(Sent("'1', 't', '4');"), SizeIs(1));
}

TEST_F(AlbumSaveTest, NewSubAlbumOfAnUnknownAlbum) {
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip/day").get()), 0);
  EXPECT_THAT(Sent("'-1');"), SizeIs(1));
}

TEST_F(AlbumSaveTest, NewTopAlbumTakesItsSettingsFromTheConfiguration) {
  SetConfig("album_def_allow_comment", "on");
  SetConfig("def_album_disable_conversion", "on");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), 0);
  EXPECT_THAT(Sent("INSERT"), ElementsAre(std::string(kInsertStart) +
                                          "9, 'trip', '', '', 'f', 0, '', 't', 'f', '1', 'f', '9');"));
}

TEST_F(AlbumSaveTest, ExistingAlbumKeepsItsSettings) {
  AddAlbum("trip/day", "9");
  AddAlbum("trip", "4");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(77, "trip/day").get()), 0);
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
  EXPECT_THAT(Sent("UPDATE"),
              ElementsAre("UPDATE photo_share SET is_subdir = 't', ref_shareid = '4',updated = '1' "
                          "WHERE sharename = 'trip/day'"));
}

TEST_F(AlbumSaveTest, ExistingTopAlbumRefersToItsRecordedId) {
  AddAlbum("trip", "4");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(77, "trip").get()), 0);
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
  EXPECT_THAT(Sent("UPDATE"),
              ElementsAre("UPDATE photo_share SET is_subdir = 'f', ref_shareid = '4',updated = '1' "
                          "WHERE sharename = 'trip'"));
}

TEST_F(AlbumSaveTest, ExistingSubAlbumOfAnUnknownAlbum) {
  AddAlbum("trip/day", "9");
  EXPECT_EQ(PhotoShareInfoDBSave(Album(77, "trip/day").get()), 0);
  EXPECT_THAT(Sent("UPDATE"),
              ElementsAre("UPDATE photo_share SET is_subdir = 't', ref_shareid = '-1',updated = '1' "
                          "WHERE sharename = 'trip/day'"));
}

TEST_F(AlbumSaveTest, FlagOfTheRecordDecidesAndNotTheName) {
  SetConfig("album_def_allow_comment", "on");
  SetConfig("def_album_disable_conversion", "on");
  const auto top = Album(9, "a/new");
  top->isSubdir = 0;
  EXPECT_EQ(PhotoShareInfoDBSave(top.get()), 0);
  const auto sub = Album(10, "new");
  sub->isSubdir = 1;
  EXPECT_EQ(PhotoShareInfoDBSave(sub.get()), 0);
  EXPECT_THAT(
      Sent("INSERT"),
      ElementsAre(std::string(kInsertStart) + "9, 'a/new', '', '', 'f', 0, '', 't', 'f', '1', 'f', '-1');",
                  std::string(kInsertStart) + "10, 'new', '', '', 'f', 0, '', 'f', 't', '1', 't', '10');"));
}

TEST_F(AlbumSaveTest, LongestNameIsCountedWhole) {
  const std::string name(4095, 'n');
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, name).get()), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,  sharename='" + name + "' )"), 1);
  EXPECT_THAT(Sent("values(9, '" + name + "', "), SizeIs(1));
}

TEST_F(AlbumSaveTest, NamesThatCannotBeStoredAreSkipped) {
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "").get()), 0);
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "tr\xff").get()), 0);
  EXPECT_EQ(fake().Count("KAVODB"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(AlbumSaveTest, BadParameter) {
  EXPECT_EQ(PhotoShareInfoDBSave(nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameter"));
}

using AlbumSaveFailureTest = OnBothRequests<AlbumTest>;

TEST_P(AlbumSaveFailureTest, WithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), -1);
  EXPECT_THAT(Messages(),
              ElementsAre(kConnectFailed, kNoRecords, kConnectFailed, kNoRecords, kConnectFailed));
}

// The two settings have connections of their own before the third.
TEST_F(AlbumSaveTest, PersonalSaveAsksForTheSettingsFirst) {
  UsePersonal();
  fake().failing_at["KAVODBConnect"] = 3;
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), -1);
  EXPECT_THAT(Sent("SELECT"), ElementsAre(testing::HasSubstr("config_key = 'album_def_allow_comment'"),
                                          testing::HasSubstr("config_key = 'def_album_disable_conversion'")));
  EXPECT_THAT(Messages(), ElementsAre(kConnectFailed));
}

TEST_P(AlbumSaveFailureTest, RefusedInsert) {
  Answer({.match = "INSERT", .result = -1});
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), -1);
  const std::string sql =
      std::string(kInsertStart) + "9, 'trip', '', '', 'f', 0, '', 'f', 'f', '1', 't', '9');";
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [" + sql + "] (the error)",
                                      "photo_database.cpp (#) Failed to exec [" + sql + "]"));
}

TEST_P(AlbumSaveFailureTest, AlbumThatCannotBeCountedIsTakenForANewOne) {
  AddAlbum("trip", "4");
  fake().failing = {"EscapeConditionEX2"};
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), 0);
  EXPECT_THAT(Sent("UPDATE"), IsEmpty());
  EXPECT_THAT(Sent("INSERT"), ElementsAre(std::string(kInsertStart) +
                                          "9, 'trip', '', '', 'f', 0, '', 'f', 'f', '1', 't', '9');"));
}

// The first condition is that of the count: another writer records the album just after it.
TEST_P(AlbumSaveFailureTest, AlbumRecordedMeanwhileIsUpdated) {
  AddAlbum("trip", "4");
  fake().failing_at["EscapeConditionEX2"] = 1;
  Answer({.match = "INSERT", .result = -1});
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), 0);
  EXPECT_THAT(Sent("INSERT"), SizeIs(1));
  EXPECT_THAT(Sent("UPDATE"),
              ElementsAre("UPDATE photo_share SET is_subdir = 'f', ref_shareid = '4',updated = "
                          "'1' WHERE sharename = 'trip'"));
}

TEST_P(AlbumSaveFailureTest, StatementThatCannotBeBuiltIsSilent) {
  fake().failing_at["KAVODBEscapeStringEX3"] = 3;  // after the two configuration values
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), -1);
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Requests, AlbumSaveFailureTest, BothRequests(), RequestName);

TEST_F(AlbumSaveTest, PersonalSaveClosesEveryConnection) {
  UsePersonal();
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "trip").get()), 0);
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_EQ(fake().Count("KAVODBConnect"), fake().Count("KAVODBClose"));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,"), 0);
  EXPECT_EQ(gpPGSQLConnect, nullptr);
}

TEST_F(AlbumSaveTest, HostileNameIsAValue) {
  EXPECT_EQ(PhotoShareInfoDBSave(Album(9, "it's 100%s").get()), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,  sharename='it's 100%s' )"), 1);
  EXPECT_THAT(Sent("values(9, 'it's 100%s',"), SizeIs(1));
}

// --- Rights.

constexpr const char* kCopiedRight =
    "Insert into photo_upload_right Values \\(1024, 9, '[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 123][0-9] "
    "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [0-9][0-9][0-9][0-9]\n'\\)";

// The zone of the process while it lives. The C library is not told, as when another part of the process
// changes the environment.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) { setenv("TZ", zone, 1); }
  ~TimeZone() { unsetenv("TZ"); }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
};

class RightsTest : public AlbumTest {
 protected:
  // The local time that a copied right is given now, as if it were one of UTC.
  static std::time_t CopiedTime() {
    EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_UPLOAD_RIGHT, "9", "4"), 0);
    const std::string sql = Sent("Insert").back();
    std::tm time{};
    EXPECT_NE(strptime(sql.c_str() + sql.find('\'') + 1, "%a %b %d %H:%M:%S %Y", &time), nullptr) << sql;
    return timegm(&time);
  }
  std::unique_ptr<KAVO_PHOTO_SHARE_INFO> SubAlbum() {
    auto album = Album(9, "trip/day");
    CopyText(album->szRightsShareName, sizeof album->szRightsShareName, "trip");
    AddAlbum("trip/day", "9");
    AddAlbum("trip", "4");
    return album;
  }
  // The right tables that were cleared and copied, in this order.
  static std::vector<std::string> Touched() {
    std::vector<std::string> tables;
    for (const auto& sql : fake().statements) {
      const auto start = sql.find("FROM photo_") + 5;
      if (sql.find("_right") == std::string::npos) continue;
      tables.push_back(std::string(sql.find("DELETE") != std::string::npos ? "-" : "+") +
                       sql.substr(start, sql.find(' ', start) - start));
    }
    return tables;
  }
};

TEST_F(RightsTest, AccountTablesAreTheDefault) {
  EXPECT_EQ(PhotoSharePriviledgeDBSave(SubAlbum().get()), 0);
  EXPECT_THAT(Touched(),
              ElementsAre("-photo_access_right_for_zor_account", "-photo_upload_right_for_zor_account",
                          "-photo_manage_right_for_zor_account", "+photo_access_right_for_zor_account",
                          "+photo_upload_right_for_zor_account", "+photo_manage_right_for_zor_account"));
  EXPECT_THAT(Sent("DELETE").front(), "DELETE FROM photo_access_right_for_zor_account WHERE shareid = '9'");
  EXPECT_EQ(fake().Count(
                "KAVODBSelectLimit(SELECT * FROM photo_access_right_for_zor_account WHERE shareid = '4'  , "
                "0, 0)"),
            1);
}

TEST_F(RightsTest, UserTablesWithTheFirstAccountSystem) {
  SetConfig("account_system", "0");
  EXPECT_EQ(PhotoSharePriviledgeDBSave(SubAlbum().get()), 0);
  EXPECT_THAT(Touched(), ElementsAre("-photo_access_right", "-photo_upload_right", "-photo_manage_right",
                                     "+photo_access_right", "+photo_upload_right", "+photo_manage_right"));
}

TEST_F(RightsTest, PersonalFolderHasUserTablesAndAsksNothing) {
  UsePersonal();
  EXPECT_EQ(PhotoSharePriviledgeDBSave(SubAlbum().get()), 0);
  EXPECT_THAT(Touched(), ElementsAre("-photo_access_right", "-photo_upload_right", "-photo_manage_right",
                                     "+photo_access_right", "+photo_upload_right", "+photo_manage_right"));
  EXPECT_THAT(Sent("photo_config"), IsEmpty());
  EXPECT_THAT(Sent("DELETE").front(),
              "PRAGMA case_sensitive_like=true; DELETE FROM photo_access_right WHERE shareid = '9'");
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
}

TEST_F(RightsTest, UnknownAlbumsFail) {
  EXPECT_EQ(PhotoSharePriviledgeDBSave(Album(9, "trip/day").get()), -1);
  AddAlbum("trip/day", "9");
  EXPECT_EQ(PhotoSharePriviledgeDBSave(Album(9, "trip/day").get()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) KAVOPhotoShareGetFieldValue failed.",
                                      "photo_database.cpp (#) KAVOPhotoShareGetFieldValue failed."));
  EXPECT_THAT(Touched(), IsEmpty());
}

TEST_F(RightsTest, BadParameter) {
  EXPECT_EQ(PhotoSharePriviledgeDBSave(nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameter"));
}

TEST_F(RightsTest, LongIdsAreCut) {
  AddAlbum("a", std::string(200, '9'));
  const auto album = Album(9, "a");
  CopyText(album->szRightsShareName, sizeof album->szRightsShareName, "a");
  EXPECT_EQ(PhotoSharePriviledgeDBSave(album.get()), 0);
  EXPECT_THAT(Sent("WHERE shareid = '" + std::string(127, '9') + "'"), SizeIs(6));
}

using RightsFailureTest = OnBothRequests<RightsTest>;

TEST_P(RightsFailureTest, DeletesAndCopiesDoNotFailTheSave) {
  Answer({.match = "_right", .result = -1});
  EXPECT_EQ(PhotoSharePriviledgeDBSave(SubAlbum().get()), 0);
  EXPECT_THAT(Touched(), SizeIs(6));
}

TEST_P(RightsFailureTest, Delete) {
  fake().failing_at = {{"KAVODBConnect", 1}, {"KAVODBEscapeStringEX3", 1}};
  Answer({.match = "DELETE", .result = -1, .once = true});
  EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "9"), -1);
  EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "9"), -1);
  EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "9"), -1);
  EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, "9"), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to photo database",
                                      "photo_database.cpp (#) Failed to exec [" + LikePragma() +
                                          "DELETE FROM photo_access_right WHERE shareid = '9'] (the error)"));
}

TEST_P(RightsFailureTest, NullIds) {
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, nullptr, "4"), -1);
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, "9", nullptr), -1);
  EXPECT_EQ(PhotoSharePriviledgeDBDelete(PHOTO_TABLE_ACCESS_RIGHT, nullptr), -1);
  EXPECT_THAT(Sent("_right"), IsEmpty());
}

TEST_F(RightsTest, CopiedRightsEndTheirTimeWithALineEnd) {
  Answer({.match = "SELECT", .rows = {{{"userid", "1024"}}, {{"userid", "0"}}}});
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_UPLOAD_RIGHT, "9", "4"), 0);
  const auto sent = Sent("Insert");
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_THAT(sent[0], MatchesRegex(kCopiedRight));
  EXPECT_THAT(sent[1], testing::StartsWith("Insert into photo_upload_right Values (0, 9, '"));
}

TEST_F(RightsTest, TimeOfCopiedRightsHasEnglishNamesInEveryLocale) {
  const CommaLocale locale;
  if (!CommaLocale::foreign_days()) GTEST_SKIP() << "no locale with other names of days";
  Answer({.match = "SELECT", .rows = {{{"userid", "1024"}}}});
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_UPLOAD_RIGHT, "9", "4"), 0);
  EXPECT_THAT(Sent("Insert"), ElementsAre(MatchesRegex(kCopiedRight)));
}

TEST_F(RightsTest, TimeOfCopiedRightsFollowsAChangeOfTheZone) {
  Answer({.match = "SELECT", .rows = {{{"userid", "1024"}}}});
  const TimeZone utc("UTC0");
  const std::time_t before = CopiedTime();
  const TimeZone ahead("AHD-12");
  constexpr double kTwelveHours = 12 * 60 * 60;
  EXPECT_NEAR(std::difftime(CopiedTime(), before), kTwelveHours, 60);
}

TEST_F(RightsTest, LongIdsOfACopyAreCutWithTheirStatement) {
  const std::string id(5000, '4');
  Answer({.match = "SELECT", .rows = {{{"userid", "1024"}}}});
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, id.c_str(), id.c_str()), 0);
  const std::string condition = ("shareid = '" + id).substr(0, 4095);
  EXPECT_THAT(Sent("SELECT"), ElementsAre("SELECT * FROM photo_access_right WHERE " + condition + "  "));
  EXPECT_THAT(Sent("Insert"),
              ElementsAre(("Insert into photo_access_right Values (1024, " + id).substr(0, 4095)));
}

TEST_P(RightsFailureTest, CopyGoesOnAfterAFailedRow) {
  Answer({.match = "SELECT", .rows = {{{"userid", "1"}}, {{"userid", "2"}}}});
  Answer({.match = "Values (1,", .result = -1});
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, "9", "4"), 0);
  const auto sent = Sent("Insert");
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [" + sent[0] + "] (the error)",
                                      "photo_database.cpp (#) Failed to exec [" + sent[0] + "]"));
}

TEST_P(RightsFailureTest, CopyWithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoSharePriviledgeDBCopy(PHOTO_TABLE_ACCESS_RIGHT, "9", "4"), -1);
  EXPECT_THAT(Messages(), ElementsAre(kConnectFailed, kNoRecords));
}

INSTANTIATE_TEST_SUITE_P(Requests, RightsFailureTest, BothRequests(), RequestName);

}  // namespace
