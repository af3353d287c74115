// Statements on the database of the request.
#include <gmock/gmock.h>

#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/connection.h"
#include "support/databases.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class ConnectionTest : public LibraryTest {
 protected:
  // The server's name for the connection that statements use now.
  static std::string BackendOfStatements() {
    const RequestConnection connection;
    Result result;
    if (!Execute(connection, "SELECT pg_backend_pid() AS pid", &result) || !result.Next()) return "";
    return result.Field("pid");
  }
  void AddPhoto(const std::string& name) {
    Run("INSERT INTO photo_image (path, version) VALUES ('" + Key(name) + "', 3)");
  }
};

TEST_P(ConnectionTest, ExecTellsChangedRows) {
  EXPECT_EQ(PhotoDBExec("INSERT INTO photo_config VALUES ('a', '1'), ('b', '1')"), 2);
  EXPECT_EQ(PhotoDBExec("UPDATE photo_config SET config_value = '2' WHERE config_key = 'a'"), 1);
  EXPECT_EQ(PhotoDBExec("UPDATE photo_config SET config_value = '2' WHERE config_key = 'none'"), 0);
  EXPECT_EQ(Value("SELECT config_value FROM photo_config WHERE config_key = 'a'"), "2");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(ConnectionTest, FailedStatementIsLoggedWithTheEnginesText) {
  EXPECT_EQ(PhotoDBExec("UPDATE nosuch SET a = 1"), -1);
  const auto messages = SyslogCapture::Messages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_THAT(messages[0], StartsWith("photo_database.cpp (#) Failed to exec [UPDATE nosuch SET a = 1] ("));
  EXPECT_THAT(messages[0], testing::HasSubstr("nosuch"));
  EXPECT_THAT(messages[0], testing::Not(testing::EndsWith("()")));
  EXPECT_EQ(PhotoDBExec("UPDATE photo_config SET config_value = ''"), 0);
}

TEST_P(ConnectionTest, OnlyTheSharedConnectionIsKept) {
  EXPECT_EQ(PhotoDBExec("UPDATE photo_config SET config_value = ''"), 0);
  EXPECT_EQ(gpPGSQLConnect == nullptr, personal());
  if (personal()) return;
  const std::string first = BackendOfStatements();
  EXPECT_NE(first, "");
  EXPECT_EQ(BackendOfStatements(), first);
  PhotoDBConnClose();
  EXPECT_EQ(gpPGSQLConnect, nullptr);
  EXPECT_NE(BackendOfStatements(), first);
}

TEST_P(ConnectionTest, SharedStatementsGoOnAfterTheEndOfTheirSession) {
  if (personal()) return;
  const std::string before = BackendOfStatements();
  const auto* const connection = gpPGSQLConnect;
  Run("SELECT pg_terminate_backend(" + before + ", 10000)");
  EXPECT_EQ(PhotoDBExec("INSERT INTO photo_config VALUES ('a', '1')"), 1);
  EXPECT_EQ(gpPGSQLConnect, connection);
  EXPECT_NE(BackendOfStatements(), before);
  EXPECT_EQ(Value("SELECT count(*) FROM photo_config"), "1");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(ConnectionTest, ForeignKeysAreEnforced) {
  AddPhoto("a.jpg");
  Run("INSERT INTO photo_label (id, category, name) VALUES (1, 2, 'sea')");
  EXPECT_EQ(PhotoDBExec("INSERT INTO photo_image_label (image_id, label_id) VALUES (77, 1)"), -1);
  Run("INSERT INTO photo_image_label (image_id, label_id) SELECT id, 1 FROM photo_image");
  EXPECT_EQ(PhotoDBExec("DELETE FROM photo_label"), 1);
  EXPECT_THAT(Query("SELECT * FROM photo_image_label"), IsEmpty());
}

TEST_P(ConnectionTest, Vacuum) {
  EXPECT_EQ(PhotoDBVacuum(), 0);
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST_P(ConnectionTest, VersionIsReadAndWritten) {
  AddPhoto("it''s.jpg");
  EXPECT_EQ(PhotoInfoDBVersionGet(Path("it's.jpg").c_str()), 3);
  EXPECT_EQ(PhotoInfoDBVersionUpdate(Path("it's.jpg").c_str(), -1), 0);
  EXPECT_EQ(Value("SELECT version FROM photo_image"), "-1");
  EXPECT_EQ(PhotoInfoDBVersionGet(Path("it's.jpg").c_str()), -1);
}

TEST_P(ConnectionTest, VersionOfAnUnknownPhotoIsZero) {
  AddPhoto("a.jpg");
  EXPECT_EQ(PhotoInfoDBVersionGet(Path("b.jpg").c_str()), 0);
  EXPECT_EQ(PhotoInfoDBVersionUpdate(Path("b.jpg").c_str(), 9), 0);
  EXPECT_EQ(Value("SELECT version FROM photo_image"), "3");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Engines, ConnectionTest, BothEngines(), EngineName);

}  // namespace
