#include "photo_database/connection.h"
#include "photo_database/stored_path.h"
#include "support/both_requests.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ConnectionTest : public FakeLibraryTest {
 protected:
  std::string PersonalConnect() const {
    return "KAVODBConnect(NULL, NULL, NULL, " + personal() + "/.KAVOHGADB)";
  }
};

TEST_F(ConnectionTest, SharedStatementsUseOneConnection) {
  EXPECT_EQ(PhotoDBExec("one"), 0);
  EXPECT_EQ(PhotoDBExec("two"), 0);
  EXPECT_EQ(fake().Count("KAVODBConnect(NULL, postgres, NULL, photo)"), 1);
  EXPECT_EQ(fake().Count("KAVODBClose"), 0);
  EXPECT_THAT(fake().statements, ElementsAre("one", "two"));
}

TEST_F(ConnectionTest, SharedConnectionIsOpenedAgainAfterItsClose) {
  EXPECT_EQ(PhotoDBExec("one"), 0);
  PhotoDBConnClose();
  EXPECT_EQ(gpPGSQLConnect, nullptr);
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_EQ(PhotoDBExec("two"), 0);
  EXPECT_NE(gpPGSQLConnect, nullptr);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 2);
}

TEST_F(ConnectionTest, CloseWithoutConnectionDoesNothing) {
  PhotoDBConnClose();
  EXPECT_EQ(fake().Count("KAVODBClose"), 0);
}

TEST_F(ConnectionTest, FailedSharedConnectIsSilentAndTriedAgain) {
  fake().failing_at["KAVODBConnect"] = 1;
  EXPECT_EQ(PhotoDBConnect(), nullptr);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_NE(PhotoDBConnect(), nullptr);
}

TEST_F(ConnectionTest, PersonalStatementsOpenAndCloseTheirOwnWithForeignKeysFirst) {
  UsePersonal();
  EXPECT_EQ(PhotoDBExec("one"), 0);
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_EQ(PhotoDBExec("two"), 0);
  EXPECT_EQ(fake().Count(PersonalConnect()), 2);
  EXPECT_EQ(fake().Count("KAVODBClose"), 2);
  EXPECT_THAT(fake().statements,
              ElementsAre("PRAGMA foreign_keys = ON;", "one", "PRAGMA foreign_keys = ON;", "two"));
  EXPECT_EQ(gpPGSQLConnect, nullptr);
}

TEST_F(ConnectionTest, PersonalConnectionIsClosedThoughAnotherPathWasCheckedMeanwhile) {
  UsePersonal();
  {
    const RequestConnection connection;
    ASSERT_EQ(HGAStatusCheck("/shared/a.jpg"), 0);
    ASSERT_EQ(HGAStatusIsHGARequest(), 0);
  }
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(ConnectionTest, SharedConnectionStaysThoughAPersonalPathWasCheckedMeanwhile) {
  {
    const RequestConnection connection;
    UsePersonal();
    ASSERT_NE(HGAStatusIsHGARequest(), 0);
  }
  EXPECT_EQ(fake().open_connections, 1);
  EXPECT_EQ(fake().Count("KAVODBClose"), 0);
}

TEST_F(ConnectionTest, FailedForeignKeysAreLoggedAndTheStatementRuns) {
  UsePersonal();
  Answer({.match = "foreign_keys", .result = -1});
  Answer({.match = "UPDATE", .affected = 3});
  EXPECT_EQ(PhotoDBExec("UPDATE it"), 3);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Failed to exec [PRAGMA foreign_keys = ON;] (the error)"));
}

TEST_F(ConnectionTest, FailedPersonalConnectSendsNothing) {
  UsePersonal();
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoDBConnect(), nullptr);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(ConnectionTest, ExecOfNullIsRefused) {
  EXPECT_EQ(PhotoDBExec(nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameters."));
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(ConnectionTest, ExecTellsChangedRows) {
  Answer({.match = "x", .affected = 7});
  EXPECT_EQ(PhotoDBExec("x"), 7);
  EXPECT_EQ(PhotoDBExec("no row"), 0);
}

using ExecFailureTest = OnBothRequests<ConnectionTest>;

TEST_P(ExecFailureTest, WithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoDBExec("x"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database"));
}

TEST_P(ExecFailureTest, RefusedStatement) {
  Answer({.match = "bad", .result = -1});
  EXPECT_EQ(PhotoDBExec("bad 100%"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [bad 100%] (the error)"));
  EXPECT_EQ(fake().open_connections, IsPersonal() ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Requests, ExecFailureTest, BothRequests(), RequestName);

TEST_F(ConnectionTest, VacuumOfTheSharedDatabase) {
  EXPECT_EQ(PhotoDBVacuum(), 0);
  EXPECT_THAT(fake().statements, ElementsAre("VACUUM ANALYZE"));
}

TEST_F(ConnectionTest, VacuumLeavesAPersonalDatabaseAlone) {
  UsePersonal();
  EXPECT_EQ(PhotoDBVacuum(), 0);
  EXPECT_EQ(fake().Count("KAVODB"), 0);
}

TEST_F(ConnectionTest, FailedVacuum) {
  Answer({.match = "VACUUM", .result = -1});
  EXPECT_EQ(PhotoDBVacuum(), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [VACUUM ANALYZE] (the error)",
                                      "photo_database.cpp (#) Failed to exec [VACUUM ANALYZE]."));
}

TEST(TableMap, NamesEveryTable) {
  const std::vector<std::string> names = {"photo_image",
                                          "video_desc",
                                          "video_comment",
                                          "photo_video_label",
                                          "photo_share",
                                          "photo_access_right",
                                          "photo_access_right_for_zor_account",
                                          "photo_upload_right",
                                          "photo_upload_right_for_zor_account",
                                          "photo_manage_right",
                                          "photo_manage_right_for_zor_account",
                                          "photo_config",
                                          "video",
                                          "video_convert"};
  ASSERT_EQ(names.size(), 14U);
  for (std::size_t type = 0; type < names.size(); ++type) {
    EXPECT_EQ(PhotoMapping::GetValue(static_cast<PHOTO_TABLE_TYPE>(type)), names[type]);
  }
}

class VersionTest : public FakeLibraryTest {};

TEST_F(VersionTest, ReadsTheRowOfASharedPath) {
  Answer({.match = "select version", .rows = {{{"version", "12"}}}});
  EXPECT_EQ(PhotoInfoDBVersionGet("/p/a.jpg"), 12);
  EXPECT_THAT(fake().statements, ElementsAre("select version from photo_image where path = '/p/a.jpg'"));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 1);
}

TEST_F(VersionTest, ReadsTheRowOfAPersonalKey) {
  UsePersonal();
  Answer({.match = "select version", .rows = {{{"version", "1"}}}});
  EXPECT_EQ(PhotoInfoDBVersionGet((personal() + "/trip/a.jpg").c_str()), 1);
  EXPECT_THAT(Sent("select"), ElementsAre("select version from photo_image where path = 'trip/a.jpg'"));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(0,"), 1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(VersionTest, GetIsZeroWithoutARowAndForAnEmptyValue) {
  EXPECT_EQ(PhotoInfoDBVersionGet("/p/a.jpg"), 0);
  Answer({.match = "select version", .rows = {{{"other", "5"}}}});
  EXPECT_EQ(PhotoInfoDBVersionGet("/p/a.jpg"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(VersionTest, GetIsZeroForARowThatCannotBeFetched) {
  Answer({.match = "select version", .rows = {{{"version", "12"}}}, .fetch_fails = true});
  EXPECT_EQ(PhotoInfoDBVersionGet("/p/a.jpg"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(VersionTest, NumberBeyondAnIntKeepsItsLowBits) {
  Answer({.match = "select version", .rows = {{{"version", "4294967298"}}}});
  EXPECT_EQ(PhotoInfoDBVersionGet("/p/a.jpg"), 2);
}

TEST_F(VersionTest, GetIsZeroWhenTheContextCannotBeTold) {
  EXPECT_EQ(PhotoInfoDBVersionGet("user:"), 0);
  EXPECT_EQ(PhotoInfoDBVersionGet(nullptr), 0);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(VersionTest, UpdateWritesWhetherOrNotARowMatches) {
  EXPECT_EQ(PhotoInfoDBVersionUpdate("/p/a.jpg", -2), 0);
  EXPECT_THAT(fake().statements, ElementsAre("Update photo_image set version = -2 where path = '/p/a.jpg'"));
}

TEST_F(VersionTest, UpdateOfAPersonalKey) {
  UsePersonal();
  EXPECT_EQ(PhotoInfoDBVersionUpdate((personal() + "/a.jpg").c_str(), 1), 0);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update photo_image set version = 1 where path = 'a.jpg'"));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
}

TEST_F(VersionTest, PersonalPathThatEndsAtItsFolderHasAnEmptyKey) {
  UsePersonal();
  EXPECT_EQ(PhotoInfoDBVersionUpdate(personal().c_str(), 1), 0);
  EXPECT_THAT(Sent("Update"), ElementsAre("Update photo_image set version = 1 where path = ''"));
  EXPECT_STREQ(StoredPath((personal() + "/").c_str()), "");
  EXPECT_STREQ(StoredPath("/a"), "");
  EXPECT_STREQ(StoredPath(""), "");
}

TEST_F(VersionTest, UpdateFailsWhenTheContextCannotBeTold) {
  EXPECT_EQ(PhotoInfoDBVersionUpdate("user:", 1), -1);
  EXPECT_EQ(PhotoInfoDBVersionUpdate(nullptr, 1), -1);
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

class VersionFailureTest : public OnBothRequests<FakeLibraryTest> {
 protected:
  int Get() const { return PhotoInfoDBVersionGet(Path("a.jpg").c_str()); }
  int Update() const { return PhotoInfoDBVersionUpdate(Path("a.jpg").c_str(), 1); }
  std::string Failed(const std::string& sql) const {
    return "photo_database.cpp (#) Failed to exec [" + sql + Key("a.jpg") + "'] (the error)";
  }
};

TEST_P(VersionFailureTest, WithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(Get(), 0);
  EXPECT_EQ(Update(), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to photo database",
                                      "photo_database.cpp (#) Failed to connect to database"));
}

TEST_P(VersionFailureTest, WithoutStatementIsSilent) {
  fake().failing = {"KAVODBEscapeStringEX3"};
  EXPECT_EQ(Get(), 0);
  EXPECT_EQ(Update(), -1);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(Sent("photo_image"), IsEmpty());
}

TEST_P(VersionFailureTest, RefusedStatement) {
  Answer({.match = "photo_image", .result = -1});
  EXPECT_EQ(Get(), 0);
  EXPECT_EQ(Update(), -1);
  EXPECT_THAT(Messages(), ElementsAre(Failed("select version from photo_image where path = '"),
                                      Failed("Update photo_image set version = 1 where path = '")));
}

INSTANTIATE_TEST_SUITE_P(Requests, VersionFailureTest, BothRequests(), RequestName);

}  // namespace
