// The command that makes a personal database, answered without a shell and a tool.
#include "process/schema_tool.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/database_fixture.h"
#include "platform/nameless_files.h"
#include "platform/process.h"
#include "support/child_processes.h"
#include "support/schemas.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

std::string Understood(const std::string& command) {
  const auto parts = UnderstandSchemaCommand({"/bin/sh", "-c", command});
  return parts ? parts->tool + "|" + parts->database + "|" + parts->script : "(none)";
}

TEST(SchemaCommandTest, IsReadAsTheShellReadsIt) {
  EXPECT_EQ(Understood("/a/sqlite3 \"/b/c d\" < /e.sql"), "/a/sqlite3|/b/c d|/e.sql");
  EXPECT_EQ(Understood(R"("/a b" "\"\$\`\\' " < "/it's")"), "/a b|\"$`\\' |/it's");
  EXPECT_EQ(Understood("/a \"line\nbreak\" < /e"), "/a|line\nbreak|/e");
}

TEST(SchemaCommandTest, AnythingElseIsLeftToTheShell) {
  for (const char* other :
       {"", "/a", "/a \"b\"", "/a \"b\" <", "/a \"b\" < /c; id", "/a \"b\" < /c ", "/a \"b < /c",
        "/a  \"b\" < /c", "/a \"$b\" < /c", "/a \"`b`\" < /c", "/a \"\\b\" < /c", "/a \"b\\", "/a \"b\" > /c",
        "/a -x \"b\" < /c", "$a \"b\" < /c", "/a \"b\" < /c*"}) {
    EXPECT_EQ(Understood(other), "(none)") << other;
  }
  const std::string command = "/a \"b\" < /c";
  EXPECT_FALSE(UnderstandSchemaCommand({"/bin/sh", "-c"}));
  EXPECT_FALSE(UnderstandSchemaCommand({"/bin/sh", "-x", command}));
  EXPECT_FALSE(UnderstandSchemaCommand({"/bin/sh", "-c", command, "more"}));
  EXPECT_FALSE(UnderstandSchemaCommand({"/bin/bash", "-c", command}));
}

// With and without files that have no name.
class SchemaToolTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    without_nameless_files = GetParam();
    fs::create_directories(folder());
    WriteFile(script(), SchemaScript("pphoto.sql"));
    setenv("LUMIVAULT_ROOT", dir_.path().c_str(), 1);
  }
  void TearDown() override {
    without_nameless_files = false;
    unsetenv("LUMIVAULT_ROOT");
  }

  fs::path folder() const { return dir_.path() / "photos"; }
  fs::path database() const { return folder() / ".KAVOHGADB"; }
  fs::path script() const { return dir_.path() / "pphoto.sql"; }
  fs::path tool() const { return dir_.path() / "usr/kavo/bin/sqlite3"; }
  fs::path Beside(const std::string& name) const { return dir_.path() / name; }
  int Make() const {
    const std::string command = tool().string() + " \"" + database().string() + "\" < " + script().string();
    return RLIBCExec("/bin/sh", "-c", command.c_str(), nullptr, nullptr);
  }
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) names.insert(entry.path().filename());
    return names;
  }

 private:
  TempDir dir_;
};

TEST_P(SchemaToolTest, TheDatabaseIsTheToolsOwn) {
  constexpr const char* kTool = "/usr/bin/sqlite3";
  if (access(kTool, X_OK) != 0) GTEST_SKIP() << "the program sqlite3 is not installed";
  EXPECT_EQ(Make(), 0);
  const fs::path other = Beside("other.db");
  ASSERT_EQ(system((kTool + (" " + other.string()) + " < " + script().string() + " >/dev/null").c_str()), 0);
  const auto dump = [&](const fs::path& file) {
    const fs::path out = Beside("dump");
    EXPECT_EQ(system((kTool + (" " + file.string()) + " .dump >" + out.string()).c_str()), 0);
    return ReadFile(out);
  };
  EXPECT_GT(dump(database()).size(), 1000U);
  EXPECT_EQ(dump(database()), dump(other));
  // The format, and what the database asks for of those that open it.
  const std::string made = ReadFile(database()).substr(0, 100);
  const std::string expected = ReadFile(other).substr(0, 100);
  EXPECT_EQ(made.substr(0, 24), expected.substr(0, 24));
  EXPECT_EQ(made.substr(28, 64), expected.substr(28, 64));
  EXPECT_EQ(made[18], 2) << "with a log";
  EXPECT_EQ(fs::status(database()).permissions(), fs::status(other).permissions());
}

TEST_P(SchemaToolTest, NothingElseIsLeft) {
  EXPECT_EQ(Make(), 0);
  EXPECT_EQ(Names(), std::set<std::string>{".KAVOHGADB"});
}

TEST_P(SchemaToolTest, ADatabaseThatIsThereStays) {
  WriteFile(database(), "somebody's");
  EXPECT_EQ(Make(), 0);
  EXPECT_EQ(ReadFile(database()), "somebody's");
  EXPECT_EQ(Names(), std::set<std::string>{".KAVOHGADB"});
}

TEST_P(SchemaToolTest, AScriptThatFailsMakesNothing) {
  WriteFile(script(), "CREATE TABLE t (a); CREATE TABLE t (a);");
  EXPECT_EQ(Make(), 1);
  WriteFile(script(), "ATTACH '" + Beside("other").string() + "' AS o; CREATE TABLE o.t (a)");
  EXPECT_EQ(Make(), 1);
  EXPECT_FALSE(fs::exists(Beside("other")));
  fs::remove(script());
  EXPECT_EQ(Make(), 2);
  EXPECT_TRUE(Names().empty());
}

// An empty database would be taken for one that has been made.
TEST_P(SchemaToolTest, ADatabaseThatCouldNotBeMadeIsNotMadeEmpty) {
  const std::string whole = ReadFile(script());
  for (const bool readable : {true, false}) {
    if (readable) WriteFile(script(), "CREATE TABLE t (a); CREATE TABLE t (a);");
    if (!readable) fs::remove(script());
    EXPECT_NE(Make(), 0);
    EXPECT_EQ(OpenSqlite(database()), nullptr);
    EXPECT_STREQ(KAVODBConnectErrorGet(), "unable to open database file");
    EXPECT_TRUE(Names().empty());
  }
  EXPECT_NE(OpenSqlite(Beside("another.db")), nullptr);
  WriteFile(script(), whole);
  EXPECT_EQ(Make(), 0);
  EXPECT_EQ(Value(OpenSqlite(database()), "SELECT sharename v FROM photo_share"), "/");
  fs::remove(database());
  EXPECT_NE(OpenSqlite(database()), nullptr);
}

// As on a full disk: the first page is written, the second is not.
TEST_P(SchemaToolTest, ADatabaseThatDoesNotFitIsNotThere) {
  constexpr rlim_t kOnePage = 4096;
  struct rlimit usual {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const struct rlimit little = {kOnePage, usual.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
  const int status = Make();
  setrlimit(RLIMIT_FSIZE, &usual);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_NE(status, 0);
  EXPECT_TRUE(Names().empty());
}

TEST_P(SchemaToolTest, AScriptWithoutALogMakesADatabaseWithout) {
  WriteFile(script(), "PRAGMA journal_mode = DELETE; CREATE TABLE t (a);");
  EXPECT_EQ(Make(), 0);
  EXPECT_EQ(ReadFile(database())[18], 1);
}

TEST_P(SchemaToolTest, WhatALinkLeadsToIsNotMade) {
  fs::create_symlink(Beside("elsewhere"), database());
  EXPECT_EQ(Make(), 1);
  EXPECT_FALSE(fs::exists(Beside("elsewhere")));
}

TEST_P(SchemaToolTest, AToolInItsPlaceIsRun) {
  WriteFile(tool(), "#!/bin/sh\ncat >\"$1\"\nexit 7\n");
  fs::permissions(tool(), fs::perms::owner_all);
  WriteFile(script(), "the script");
  EXPECT_EQ(Make(), 7);
  EXPECT_EQ(ReadFile(database()), "the script");
}

// The folder's owner puts a link in its place, now to a file that is not there, now to a foreign database,
// and takes it away, as fast as it goes.
TEST_P(SchemaToolTest, ALinkThatComesMeanwhileLeadsNowhere) {
  constexpr int kTries = 60;
  const fs::path foreign = Beside("foreign.db");
  Send(OpenSqlite(foreign), "CREATE TABLE mine (a)");
  const std::string before = ReadFile(foreign);
  std::atomic<bool> done{false};
  std::thread owner([&] {
    while (!done) {
      for (const fs::path& target : {Beside("nowhere"), foreign}) {
        static_cast<void>(symlink(target.c_str(), database().c_str()));
        unlink(database().c_str());
      }
    }
  });
  // The owner may be stopped for many tries with the link in its place.
  int made = 0;
  for (int i = 0; i < kTries || made == 0; ++i) made += Make() == 0 ? 1 : 0;
  done = true;
  owner.join();
  EXPECT_FALSE(fs::exists(Beside("nowhere")));
  EXPECT_EQ(ReadFile(foreign), before);
  EXPECT_GT(made, 0);
}

TEST_P(SchemaToolTest, WhoeverFindsItFindsAllOfIt) {
  constexpr int kRounds = 8;
  for (int i = 0; i < kRounds; ++i) {
    const bool whole = RunChildren(6, [&](int number) {
      if (number % 2 == 0) return Make();
      while (access(database().c_str(), F_OK) != 0) sched_yield();
      const std::string image = ReadFile(database());
      return image.size() > 4096 && image.size() % 4096 == 0 && image[18] == 2 ? 0 : 1;
    });
    ASSERT_TRUE(whole);
    ASSERT_EQ(Names(), std::set<std::string>{".KAVOHGADB"});
    ASSERT_EQ(Value(OpenSqlite(database()), "SELECT sharename v FROM photo_share"), "/");
    fs::remove(database());
  }
}

std::string WayName(const testing::TestParamInfo<bool>& info) {
  return info.param ? "Named" : "Nameless";
}
INSTANTIATE_TEST_SUITE_P(Ways, SchemaToolTest, testing::Bool(), WayName);

}  // namespace
