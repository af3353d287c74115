#include <cstring>

#include "platform/database_fixture.h"
#include "support/hostile_names.h"

namespace {

// The escaped condition, or nothing when it is refused; the buffer has the size that callers give.
std::optional<std::string> Escape(int type, const std::string& condition) {
  constexpr char kUntouched = '\x7e';
  std::vector<char> out(2 * condition.size() + 2, kUntouched);
  if (EscapeConditionEX2(type, condition.c_str(), out.data()) < 0) return std::nullopt;
  EXPECT_EQ(out.back(), kUntouched) << "written behind the buffer: " << condition;
  return out.data();
}

class ConditionTest : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Types, ConditionTest, BothTypes(), TypeName);

TEST_P(ConditionTest, PlainConditionStays) {
  EXPECT_EQ(Escape(GetParam(), "path = 'a/b.jpg'"), "path = 'a/b.jpg'");
  EXPECT_EQ(Escape(GetParam(), " sharename='x' "), " sharename='x' ");
  EXPECT_EQ(Escape(GetParam(), "path like 'a' "), "path like 'a' ");
}

TEST_P(ConditionTest, QuotesOfTheValueAreDoubled) {
  EXPECT_EQ(Escape(GetParam(), "path = 'O'Hara'"), "path = 'O''Hara'");
  EXPECT_EQ(Escape(GetParam(), "path = ''''"), "path = ''''''");
}

TEST_P(ConditionTest, ValueCannotBecomeACondition) {
  EXPECT_EQ(Escape(GetParam(), "path = 'x' OR 'a'='a'"), "path = 'x'' OR ''a''=''a'");
  EXPECT_EQ(Escape(GetParam(), "path = 'x'; DROP TABLE t;--'"), "path = 'x''; DROP TABLE t;--'");
}

TEST_P(ConditionTest, WildcardsStay) {
  EXPECT_EQ(Escape(GetParam(), "path like 'a_%'"), "path like 'a_%'");
}

TEST_P(ConditionTest, BackslashStaysInAnEquality) {
  EXPECT_EQ(Escape(GetParam(), "path = 'a\\b'"), "path = 'a\\b'");
  EXPECT_EQ(Escape(GetParam(), "dislike = 'a\\b'"), "dislike = 'a\\b'");
}

TEST_P(ConditionTest, NumbersNeedNoQuotes) {
  for (const char* condition : {"disabled = 0", "shareid=-12 ", "lat >= 0.25", "  t.lng < -1.5"})
    EXPECT_EQ(Escape(GetParam(), condition), condition);
}

TEST_P(ConditionTest, NothingElseStandsWithoutQuotes) {
  for (const char* condition :
       {"1=1", "a = b", "a = NULL", "a = --1", "a = 1-", "a = 1.", "a = .5", "a = 1e3", "a = 0x1", "a = -",
        "a = 1 1", "a =", "a", "a like", "a = 1;", "a = 1.5.5"}) {
    EXPECT_EQ(Escape(GetParam(), condition), std::nullopt) << condition;
  }
}

TEST_P(ConditionTest, BlanksAloneAreCopied) {
  EXPECT_EQ(Escape(GetParam(), ""), "");
  EXPECT_EQ(Escape(GetParam(), " \t\n"), " \t\n");
}

TEST_P(ConditionTest, EveryComparisonPasses) {
  for (const char* comparison :
       {"=", "==", "<>", "!=", "<", "<=", ">", ">=", " like ", " LIKE", " not like ", " Not\nLike\t"}) {
    const std::string condition = std::string("_a1") + comparison + "'v'";
    EXPECT_EQ(Escape(GetParam(), condition), condition);
  }
}

TEST_P(ConditionTest, AColumnMayHaveItsTable) {
  for (const char* condition : {"photo_image.path = 'a'", "t.a='a'"})
    EXPECT_EQ(Escape(GetParam(), condition), condition);
  for (const char* condition :
       {".path = 'a'", "t. = 'a'", "t.1 = 'a'", "1.t = 'a'", "a.b.c = 'a'", "t .a = 'a'", "t.a;= 'a'"})
    EXPECT_EQ(Escape(GetParam(), condition), std::nullopt) << condition;
}

// Each would move the literal, or begin one with other rules, and the rest would run.
TEST_P(ConditionTest, NothingElseStandsBeforeTheLiteral) {
  for (const char* condition : {"1=1 -- '\n; DELETE FROM t --'",
                                "a = 1 -- '\n; DELETE FROM t --'",
                                "a = /* ' */ ; DELETE FROM t --'",
                                "a = $$'$$; DELETE FROM t --'",
                                "a = $x$'$x$; DELETE FROM t --'",
                                "a = E'\\'; DELETE FROM t --'",
                                "a = e'\\'; DELETE FROM t --'",
                                "a like E'\\'; DELETE FROM t --'",
                                "a = U&'x'",
                                "a = n'x'",
                                "a = x'00'",
                                "a = b'1'",
                                "a = \"'\"; DELETE FROM t --'",
                                "a = (1) or 'x'='x'",
                                "lower(a) = 'x'",
                                "a = lower('x')",
                                "a or b = 'x'",
                                "not a = 'x'",
                                "a ilike 'x'",
                                "a likes 'x'",
                                "a not 'x'",
                                "a = = 'x'",
                                "a is 'x'",
                                "a in ('x')",
                                "= 'x'",
                                "'x' = 'x'",
                                "a; b = 'x'",
                                "a\xC3\xA9 = 'x'",
                                "a [ = 'x'",
                                "a = @'x'",
                                "dislike'x'",
                                "a = 1 'x'"}) {
    EXPECT_EQ(Escape(GetParam(), condition), std::nullopt) << condition;
  }
}

TEST_P(ConditionTest, EmptyValue) {
  EXPECT_EQ(Escape(GetParam(), "path = ''"), "path = ''");
}

TEST_P(ConditionTest, OtherShapesAreRefused) {
  for (const char* condition :
       {"path = 'x", "'", "path = '", "path '", "path like '", "path = x;", ";", "a; b = 'x'", "path = 'x';",
        "path = 'x' OR 1=1", "path = 'x' --", "path = 'x' /*", "path = 'x')"}) {
    EXPECT_EQ(Escape(GetParam(), condition), std::nullopt) << condition;
  }
}

TEST_P(ConditionTest, LongestOutputFitsTheBuffer) {
  for (const char filler : {'\'', '\\'}) {
    const std::string condition = "a like'" + std::string(5'000, filler) + "'";
    ASSERT_TRUE(Escape(GetParam(), condition).has_value());
  }
}

TEST_P(ConditionTest, NullsAndUnknownTypesAreRefused) {
  char out[] = "unchanged";
  EXPECT_LT(EscapeConditionEX2(GetParam(), nullptr, out), 0);
  EXPECT_LT(EscapeConditionEX2(GetParam(), "a = 'b'", nullptr), 0);
  EXPECT_LT(EscapeConditionEX2(GetParam() + 2, "a = 'b'", out), 0);
  EXPECT_STREQ(out, "unchanged");
}

TEST(ConditionOnPostgresTest, BackslashOfAPatternIsDoubled) {
  EXPECT_EQ(Escape(KAVODB_TYPE_POSTGRES, "path like 'a\\b'"), "path like 'a\\\\b'");
  EXPECT_EQ(Escape(KAVODB_TYPE_POSTGRES, "path LIKE'a\\b' "), "path LIKE'a\\\\b' ");
}

TEST(ConditionOnSqliteTest, BackslashOfAPatternStays) {
  EXPECT_EQ(Escape(KAVODB_TYPE_SQLITE, "path like 'a\\b'"), "path like 'a\\b'");
}

class ConditionOnEngineTest : public DatabaseTest {
 protected:
  std::string Count(const std::string& condition) const {
    const std::optional<std::string> escaped = Escape(GetParam(), condition);
    EXPECT_TRUE(escaped) << condition;
    return Value(db(), LikePrefix() + "SELECT count(*) AS v FROM t WHERE " + escaped.value_or("0=1"));
  }
};
INSTANTIATE_TEST_SUITE_P(Engines, ConditionOnEngineTest, BothTypes(), TypeName);

// Those of the plug-in: albums, renamed photos, converted videos.
TEST_P(ConditionOnEngineTest, EveryConditionOfTheProgramPasses) {
  Send(db(), "CREATE TABLE t (path text, sharename text); INSERT INTO t VALUES ('a/b.jpg', 'a')");
  EXPECT_EQ(Count(" sharename='a' "), "1");
  EXPECT_EQ(Count("path like 'a/b.jpg' "), "1");
  EXPECT_EQ(Count("path = 'a/b.jpg'"), "1");
  EXPECT_EQ(Count("path = 'a/b.jp'"), "0");
}

TEST_P(ConditionOnEngineTest, HostileValuesAreValues) {
  Send(db(), "CREATE TABLE t (path text); CREATE UNIQUE INDEX t_path ON t (path)");
  const std::vector<std::string> values = HostileNames();
  for (const std::string& value : values) {
    Send(db(), Fill(GetParam(), "INSERT INTO t VALUES ('@KAVO:VAR')", value.c_str()));
  }
  for (const std::string& value : values) {
    EXPECT_EQ(Count("path = '" + value + "'"), "1") << value;
    EXPECT_EQ(Count(" path='" + value + "' "), "1") << value;
    // A pattern finds its own text, and more where it has wildcards.
    const bool wild = value.find_first_of("%_") != std::string::npos;
    const std::string found = Count("path like '" + value + "' ");
    EXPECT_TRUE(wild ? found != "0" : found == "1") << value << ": " << found;
  }
}

TEST_P(ConditionOnEngineTest, WildcardsOfARawPatternMatch) {
  Send(db(), "CREATE TABLE t (path text); INSERT INTO t VALUES ('a_b'), ('axb'), ('a')");
  EXPECT_EQ(Count("path like 'a_b' "), "2");
  EXPECT_EQ(Count("path like 'a%' "), "3");
}

}  // namespace
