#include "db/sqlite_byte_like.h"

#include <gmock/gmock.h>

#include <random>

#include "platform/database_fixture.h"
#include "support/sql_literal.h"

namespace {

using testing::HasSubstr;
using Names = std::vector<std::optional<std::string>>;

std::string Rewritten(const std::string& sql) {
  return WithByteLike(sql).value_or("(as it is)");
}

TEST(ByteLike, AConditionThatIsNotAsciiGetsItsBytesCompared) {
  EXPECT_EQ(Rewritten("SELECT 1 FROM t WHERE path like '\xE4'"),
            "SELECT 1 FROM t WHERE (path LIKE '\xE4' AND lumivault_like_bytes(path, '\xE4'))");
  EXPECT_EQ(Rewritten("DELETE FROM t WHERE t.path LIKE '\xE4/%' ESCAPE '\\' or a = 'b';"),
            "DELETE FROM t WHERE (t.path LIKE '\xE4/%' ESCAPE '\\' AND lumivault_like_bytes(t.path, "
            "'\xE4/%', '\\')) or a = 'b';");
}

TEST(ByteLike, EveryConditionOfAStatementIsSeen) {
  EXPECT_EQ(Rewritten("a WHERE b = '\xE4' AND c like '\xE4' OR (d like 'x' AND NOT e like '\xE5''')"),
            "a WHERE b = '\xE4' AND (c LIKE '\xE4' AND lumivault_like_bytes(c, '\xE4')) OR (d like 'x' AND "
            "NOT (e LIKE '\xE5''' AND lumivault_like_bytes(e, '\xE5''')))");
}

TEST(ByteLike, ADeniedConditionIsTheOppositeOfTheWhole) {
  EXPECT_EQ(
      Rewritten("a WHERE path not like '\xE4' AND NOT t.path NOT LIKE '\xE4/%' ESCAPE '\\' or a = 'b'"),
      "a WHERE (NOT (path LIKE '\xE4' AND lumivault_like_bytes(path, '\xE4'))) AND NOT (NOT (t.path LIKE "
      "'\xE4/%' ESCAPE '\\' AND lumivault_like_bytes(t.path, '\xE4/%', '\\'))) or a = 'b'");
}

TEST(ByteLike, OtherTextStays) {
  for (const char* sql : {"SELECT 1 WHERE a like 'x'",
                          "SELECT '\xE4 where a like ''x'''",
                          "SELECT 1 WHERE a = '\xE4'",
                          "SELECT \"\xE4\" WHERE a like 'x'",
                          "SELECT `where a like '\xE4'` FROM t",
                          "SELECT '\xE4' -- where a like '\xE4'",
                          "SELECT '\xE4' /* where a like '\xE4' */",
                          "SELECT 1 WHERE x || a like '\xE4'",
                          "SELECT 1 WHERE x || a not like '\xE4'",
                          "SELECT 1 WHERE a not like 'x' AND b = '\xE4'",
                          "WHERE not like '\xE4'",
                          "t WHERE not like '\xE4'",
                          "SELECT 1 WHERE a not glob '\xE4'",
                          "SELECT 1 WHERE '\xE4' like a",
                          "\xE4",
                          "'\xE4",
                          "/* \xE4",
                          "-- \xE4",
                          "WHERE a like",
                          "WHERE like '\xE4'"}) {
    EXPECT_EQ(Rewritten(sql), "(as it is)") << sql;
  }
}

class ByteLikeOnSqlite : public testing::Test {
 protected:
  void SetUp() override {
    db_ = OpenSqlite(dir_ / "photo.db");
    Send(db_, "CREATE TABLE t (path text); CREATE TABLE k (path text PRIMARY KEY)");
  }
  void Add(const std::string& path) {
    const std::string literal = SqlLiteral(path);
    Send(db_, "INSERT INTO t VALUES (" + literal + "); INSERT OR IGNORE INTO k VALUES (" + literal + ")");
  }
  // The paths of TABLE that PATTERN finds with NAME in it.
  Names Like(const std::string& table, const char* pattern, const std::string& name) {
    const std::string condition = Fill(KAVODB_TYPE_SQLITE, pattern, name.c_str());
    return Column(Send(db_, kPrefix + "SELECT path FROM " + table + " WHERE " + condition + " ORDER BY path"),
                  "path");
  }
  std::string CountLike(const std::string& pattern) {
    return Value(db_, kPrefix + "SELECT count(*) AS v FROM t WHERE path like " + SqlLiteral(pattern));
  }

  static constexpr const char* kIs = "path like '@KAVO:LVAR'";
  static constexpr const char* kBelow = "path like '@KAVO:LVAR/%'";
  static constexpr const char* kEnds = "path like '%@KAVO:LVAR'";
  const std::string kPrefix = "PRAGMA case_sensitive_like=true; ";
  TempDir dir_;
  Connection db_;
};

// Each byte that belongs to no character is read as U+FFFD, and a lone A9 as the character C2 A9.
TEST_F(ByteLikeOnSqlite, ANameThatIsNotUtf8MatchesItselfAlone) {
  const std::vector<std::string> names = {"a\xE4.jpg", "a\xF6.jpg",     "a\xEF\xBF\xBD.jpg",
                                          "a\xA9.jpg", "a\xC2\xA9.jpg", "a\xEF\xBF\xBE.jpg"};
  for (const std::string& name : names) Add(name);
  for (const std::string& name : names) {
    for (const char* table : {"t", "k"}) {
      EXPECT_EQ(Like(table, kIs, name), Names{name}) << name;
      EXPECT_EQ(Like(table, kEnds, name), Names{name}) << name;
    }
  }
}

TEST_F(ByteLikeOnSqlite, EveryOtherNameIsNotLikeOneThatIsNotUtf8) {
  for (const char* path : {"a\xE4.jpg", "a\xF6.jpg", "b.jpg"}) Add(path);
  Send(db_, "INSERT INTO t VALUES (NULL)");
  const Names found =
      Column(Send(db_, kPrefix + "SELECT path FROM t WHERE path not like " + SqlLiteral("a\xE4.jpg") +
                           " AND path NOT LIKE '\xE4/%' ORDER BY path"),
             "path");
  EXPECT_EQ(found, (Names{"a\xF6.jpg", "b.jpg"}));
}

TEST_F(ByteLikeOnSqlite, AFolderThatIsNotUtf8HasItsOwnFilesOnly) {
  for (const char* path : {"\xE4/1.jpg", "\xE4/\xE4", "\xF6/2.jpg", "\xEF\xBF\xBD/3.jpg"}) Add(path);
  EXPECT_EQ(Like("t", kBelow, "\xE4"), (Names{"\xE4/1.jpg", "\xE4/\xE4"}));
}

TEST_F(ByteLikeOnSqlite, WildcardsOfARawPatternTakeCharacters) {
  for (const char* path : {"x\xC3\xA4y", "x\xE4y", "xay", "x\xE4\xE4y"}) Add(path);
  EXPECT_EQ(CountLike("x_y"), "3");
  EXPECT_EQ(CountLike("x\xE4%"), "2");
  EXPECT_EQ(CountLike("%\xE4y"), "2");
  EXPECT_EQ(CountLike("_\xE4_"), "1");
  EXPECT_EQ(CountLike("_\xC3\xA4_"), "1");
  EXPECT_EQ(CountLike("%\xE4%\xE4%"), "1");
}

TEST_F(ByteLikeOnSqlite, LetterCaseIsAsTheSettingSays) {
  Add("\xE4 A");
  const std::string select = "SELECT count(*) AS v FROM t WHERE path like '\xE4 a'";
  EXPECT_EQ(Value(db_, "PRAGMA case_sensitive_like=false; " + select), "1");
  EXPECT_EQ(Value(db_, kPrefix + select), "0");
}

TEST_F(ByteLikeOnSqlite, NothingIsLikeNull) {
  Send(db_, "INSERT INTO t VALUES (NULL)");
  EXPECT_EQ(Value(db_, "SELECT count(*) AS v FROM t WHERE NOT path like '\xE4'"), "0");
}

TEST_F(ByteLikeOnSqlite, TheIndexAnswers) {
  for (const char* pattern : {kIs, kBelow}) {
    const std::string condition = Fill(KAVODB_TYPE_SQLITE, pattern, "\xE4");
    const Names plan =
        Column(Send(db_, kPrefix + "EXPLAIN QUERY PLAN SELECT path FROM k WHERE " + condition), "detail");
    ASSERT_EQ(plan.size(), 1U);
    EXPECT_THAT(*plan.front(), HasSubstr("SEARCH k USING COVERING INDEX"));
  }
}

// A name of a few bytes that SQLite reads wrongly or as one another.
std::string RandomName(std::mt19937& random) {
  constexpr std::string_view kBytes = "a%_\\'/\xC3\xA4\xE4\xA9\xC2\xEF\xBF\xBD\xBE";
  std::string name;
  for (auto size = 1 + random() % 4; size > 0; --size) name += kBytes[random() % kBytes.size()];
  return name;
}

TEST_F(ByteLikeOnSqlite, RandomNamesAreComparedAsBytes) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::vector<std::string> names;
  Send(db_, "BEGIN");
  for (int i = 0; i < 300; ++i) Add(names.emplace_back(RandomName(random)));
  Send(db_, "COMMIT");
  for (int i = 0; i < 300; ++i) {
    const std::string name = RandomName(random);
    const auto count = [&](auto&& rule) {
      return static_cast<std::size_t>(std::count_if(names.begin(), names.end(), rule));
    };
    const std::size_t same = count([&](const auto& other) { return other == name; });
    EXPECT_EQ(Like("t", kIs, name).size(), same) << name;
    EXPECT_EQ(Like("k", kIs, name).size(), same > 0 ? 1U : 0U) << name;
    // An end that begins inside of a character need not be found.
    const Names ends = Like("t", kEnds, name);
    EXPECT_GE(ends.size(), same) << name;
    for (const auto& other : ends) EXPECT_TRUE(other->ends_with(name)) << name << " of " << *other;
    EXPECT_EQ(Like("t", kBelow, name).size(),
              count([&](const auto& other) { return other.starts_with(name + "/"); }))
        << name;
  }
}

}  // namespace
