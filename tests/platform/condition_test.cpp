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
  EXPECT_EQ(Escape(GetParam(), "dislike'a\\b'"), "dislike'a\\b'");
}

TEST_P(ConditionTest, TextWithoutQuotesIsCopied) {
  EXPECT_EQ(Escape(GetParam(), "disabled = 0"), "disabled = 0");
  EXPECT_EQ(Escape(GetParam(), ""), "");
}

TEST_P(ConditionTest, EmptyValue) {
  EXPECT_EQ(Escape(GetParam(), "path = ''"), "path = ''");
}

TEST_P(ConditionTest, OtherShapesAreRefused) {
  for (const char* condition : {"path = 'x", "'", "path = x;", ";", "a; b = 'x'", "path = 'x';",
                                "path = 'x' OR 1=1", "path = 'x' --", "path = 'x' /*", "path = 'x')"}) {
    EXPECT_EQ(Escape(GetParam(), condition), std::nullopt) << condition;
  }
}

TEST_P(ConditionTest, LongestOutputFitsTheBuffer) {
  for (const char filler : {'\'', '\\'}) {
    const std::string condition = "like '" + std::string(5'000, filler) + "'";
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
