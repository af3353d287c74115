// What a server says that concerns every statement, and what concerns one.
#include "platform/connection_lending.h"
#include "platform/database_fixture.h"
#include "platform/scripted_server.h"

namespace {

constexpr const char* kInsert = "INSERT INTO t VALUES (1)";

std::string Error(const std::string& state) {
  return ScriptedServer::Error(state) + ScriptedServer::Ready();
}

// What the owner of a lent connection is told when the server answers a statement with STATE.
std::string FailureAfter(const std::string& state) {
  ScriptedServer server({Error(state)});
  EXPECT_EQ(KAVODBLendDatabase("postgres", "photo"), 0) << KAVODBLentErrorGet();
  const Connection db(KAVODBConnect(nullptr, "postgres", nullptr, "photo"));
  EXPECT_EQ(KAVODBLentFailureGet(), nullptr);
  EXPECT_EQ(KAVODBExecute(db.get(), kInsert, nullptr), -1) << state;
  const char* failure = KAVODBLentFailureGet();
  const std::string told = failure != nullptr ? failure : "";
  KAVODBLendEnd();
  return told;
}

TEST(PostgresFailureTest, AServerThatTakesNothingIsTold) {
  EXPECT_EQ(FailureAfter("25006"), "the server only reads");
  EXPECT_EQ(FailureAfter("53100"), "the server's disk is full");
  EXPECT_EQ(FailureAfter("53200"), "the server is out of memory");
  EXPECT_EQ(FailureAfter("53000"), "the server has no resources left");
  EXPECT_EQ(FailureAfter("53400"), "the server has no resources left");
  EXPECT_EQ(FailureAfter("58030"), "the server cannot use its files");
  EXPECT_EQ(FailureAfter("58P01"), "the server cannot use its files");
  EXPECT_EQ(FailureAfter("XX001"), "the server's files are damaged");
  EXPECT_EQ(FailureAfter("XX002"), "the server's files are damaged");
}

TEST(PostgresFailureTest, WhatIsWrongWithOneStatementIsNot) {
  for (const char* state : {"22001", "22021", "23505", "25001", "25P02", "42601", "42P01", "54000", "XX000"})
    EXPECT_EQ(FailureAfter(state), "") << state;
}

TEST(PostgresFailureTest, HoldsThoughALaterStatementSucceeds) {
  ScriptedServer server({Error("53100"), ScriptedServer::Done("INSERT 0 1") + ScriptedServer::Ready()});
  ASSERT_EQ(KAVODBLendDatabase("postgres", "photo"), 0) << KAVODBLentErrorGet();
  const Connection db(KAVODBConnect(nullptr, "postgres", nullptr, "photo"));
  EXPECT_EQ(KAVODBExecute(db.get(), kInsert, nullptr), -1);
  EXPECT_EQ(KAVODBExecute(db.get(), kInsert, nullptr), 0);
  EXPECT_STREQ(KAVODBLentFailureGet(), "the server's disk is full");
  KAVODBLendEnd();
}

}  // namespace
