#include "platform/database_fixture.h"
#include "platform/scripted_server.h"

namespace {

using Statements = std::vector<std::string>;

constexpr const char* kSelect = "SELECT n AS v FROM t";
constexpr const char* kInsert = "INSERT INTO t VALUES (1)";

const std::string kInserted = ScriptedServer::Done("INSERT 0 1") + ScriptedServer::Ready();

std::string Row(const std::string& value) {
  return ScriptedServer::Row(value) + ScriptedServer::Ready();
}
std::string Error(const std::string& state) {
  return ScriptedServer::Error(state) + ScriptedServer::Ready();
}

int Execute(const Connection& db, const char* sql) {
  return KAVODBExecute(db.get(), sql, nullptr);
}

// After a crash libpq may still call the connection good; only the missing SQLSTATE tells. The others are a
// server that says itself that it goes.
const std::vector<std::string> kLosses = {"", "08006", "08P01", "57P01", "57P02", "57P03"};

TEST(PostgresLossTest, SelectIsSentOnceMoreOnANewConnection) {
  for (const std::string& state : kLosses) {
    ScriptedServer server({Error(state), Row("7")});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Value(db, kSelect), "7") << state;
    EXPECT_EQ(server.connections(), 2) << state;
    EXPECT_EQ(server.statements(), (Statements{kSelect, kSelect})) << state;
  }
}

// Whether those read only cannot be told by a look at their words.
TEST(PostgresLossTest, SelectThatMayHideMoreIsSentOnce) {
  for (const char* sql :
       {"SELECT 1 INTO t", "select a.\"b;c\" from a", "SELECT 1 -- '\n; DELETE FROM t --'",
        "SELECT 1 /* ' */ ; DELETE FROM t /* ' */", "SELECT $$'$$; DELETE FROM t; SELECT $$'$$",
        "SELECT E'\\'' ; DELETE FROM t WHERE p = ''", "SELECT e'\\''; DELETE FROM t; SELECT e'\\''"}) {
    ScriptedServer server({Error("08006"), Row("7")});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Execute(db, sql), -1) << sql;
    EXPECT_EQ(server.statements(), Statements{sql});
  }
}

TEST(PostgresLossTest, WordsInsideALiteralHideNothing) {
  const char* sql = "SELECT v FROM t WHERE p = 'into -- /* $ \" ; ''x' AND into_ = 1";
  ScriptedServer server({Error("08006"), Row("7")});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Value(db, sql), "7");
}

TEST(PostgresLossTest, SelectIsSentOnceMoreOnly) {
  ScriptedServer server({Error(""), Error(""), Row("7")});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, kSelect), -1);
  EXPECT_STREQ(KAVODBErrorGet(db.get()), "FATAL:  scripted");
  EXPECT_EQ(server.statements(), (Statements{kSelect, kSelect}));
}

TEST(PostgresLossTest, WriteIsReportedAndTheNextStatementHasANewConnection) {
  for (const std::string& state : kLosses) {
    ScriptedServer server({Error(state), Row("7")});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Execute(db, kInsert), -1) << state;
    EXPECT_EQ(server.statements(), Statements{kInsert}) << state;
    EXPECT_EQ(Value(db, kSelect), "7") << state;
    EXPECT_EQ(server.connections(), 2) << state;
  }
}

TEST(PostgresLossTest, WriteWhoseAnswerIsLostIsNotSentTwice) {
  ScriptedServer server({});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, kInsert), -1);
  EXPECT_EQ(server.statements(), Statements{kInsert});
}

TEST(PostgresLossTest, OtherFailuresKeepTheConnection) {
  for (const std::string state : {"22021", "23505", "53100", "57014", "57P04", "XX000"}) {
    ScriptedServer server({Error(state), Row("7")});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Execute(db, kSelect), -1) << state;
    EXPECT_EQ(Value(db, kSelect), "7") << state;
    EXPECT_EQ(server.connections(), 1) << state;
  }
}

constexpr const char* kTwoWrites = "DELETE FROM t WHERE p = 'commit'; DELETE FROM u";

TEST(PostgresConflictTest, WhatTheServerUndidIsSentAgain) {
  for (const std::string state : {"40001", "40P01", "55P03"}) {
    ScriptedServer server({Error(state), Error(state), kInserted});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Execute(db, kTwoWrites), 0) << state << ": " << KAVODBErrorGet(db.get());
    EXPECT_EQ(server.statements(), (Statements{kTwoWrites, kTwoWrites, kTwoWrites}));
    EXPECT_EQ(server.connections(), 1);
  }
}

TEST(PostgresConflictTest, AnInsertThatMayMeetItsRowIsSentAgain) {
  const char* sql = "INSERT INTO t VALUES (1) ON CONFLICT DO NOTHING";
  ScriptedServer server({Error("40P01"), kInserted});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, sql), 0) << KAVODBErrorGet(db.get());
  EXPECT_EQ(server.statements(), (Statements{sql, sql}));
}

TEST(PostgresConflictTest, ThatHasAnEnd) {
  ScriptedServer server(std::vector<std::string>(20, Error("40P01")));
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, kInsert), -1);
  EXPECT_STREQ(KAVODBErrorGet(db.get()), "FATAL:  scripted");
  EXPECT_EQ(server.statements().size(), 7U);
}

// A part of it may be kept.
TEST(PostgresConflictTest, WhatIsMoreThanOneTransactionIsSentOnce) {
  for (const char* sql : {"INSERT INTO t VALUES (1); COMMIT; DELETE FROM t", "begin; DELETE FROM t",
                          "DO $$ BEGIN COMMIT; END $$", "DELETE FROM t -- '\n; COMMIT --'", "VACUUM",
                          "DO 'BEGIN COMMIT; END'", "DELETE FROM t; do 'BEGIN COMMIT; END'",
                          "DELETE FROM t WHERE p = E'\\'' ; COMMIT; DELETE FROM t WHERE p = ''"}) {
    ScriptedServer server({Error("40P01"), kInserted});
    const Connection db = OpenPostgres();
    EXPECT_EQ(Execute(db, sql), -1) << sql;
    EXPECT_EQ(server.statements(), Statements{sql});
  }
}

TEST(PostgresConflictTest, InsideATransactionNothingIsSentAgain) {
  ScriptedServer server({ScriptedServer::Done("BEGIN") + ScriptedServer::ReadyInTransaction(),
                         ScriptedServer::Error("40P01") + ScriptedServer::ReadyInTransaction(), kInserted});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, "BEGIN"), 0);
  EXPECT_EQ(Execute(db, kInsert), -1);
  EXPECT_EQ(server.statements(), (Statements{"BEGIN", kInsert}));
}

TEST(PostgresConflictTest, AWriteThatDiesWhenItIsSentAgainIsNotSentOnceMore) {
  ScriptedServer server({Error("40P01"), Error("57P01"), kInserted});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Execute(db, kInsert), -1);
  EXPECT_EQ(server.statements(), (Statements{kInsert, kInsert}));
}

// The server says good-bye between two statements, and its end of the connection is still open when the next
// one comes.
TEST(PostgresLossTest, FarewellIsHeardBeforeAWrite) {
  ScriptedServer server({Row("7") + ScriptedServer::Error("57P01"), kInserted});
  const Connection db = OpenPostgres();
  EXPECT_EQ(Value(db, kSelect), "7");
  EXPECT_EQ(Execute(db, kInsert), 0) << KAVODBErrorGet(db.get());
  EXPECT_EQ(server.connections(), 2);
  EXPECT_EQ(server.statements(), (Statements{kSelect, kInsert}));
}

}  // namespace
