#include <climits>

#include "platform/database_fixture.h"
#include "support/hostile_names.h"

namespace {

constexpr int kSqlite = KAVODB_TYPE_SQLITE;
constexpr int kPostgres = KAVODB_TYPE_POSTGRES;

// Null when the template is refused.
template <typename... Values>
bool Refused(int type, const char* sql_template, Values... values) {
  return HeapText(KAVODBEscapeStringEX3(type, sql_template, values...)) == nullptr;
}

TEST(TemplateTest, QuotesOfATextAreDoubled) {
  for (const int type : {kSqlite, kPostgres}) {
    EXPECT_EQ(Fill(type, "path = '@KAVO:VAR'", "O'Hara''s"), "path = 'O''Hara''''s'");
  }
}

TEST(TemplateTest, BackslashesAndWildcardsOfATextStay) {
  EXPECT_EQ(Fill(kSqlite, "path = '@KAVO:VAR'", "a\\b%c_d"), "path = 'a\\b%c_d'");
  EXPECT_EQ(Fill(kPostgres, "path = '@KAVO:VAR'", "a\\b%c_d"), "path = 'a\\b%c_d'");
}

TEST(TemplateTest, NamesAreUnchanged) {
  EXPECT_EQ(Fill(kSqlite, "DELETE FROM @KAVO:NEVAR;", "photo_image"), "DELETE FROM photo_image;");
}

TEST(TemplateTest, PatternIsNeutralisedAndItsEscapeNamedOnSqlite) {
  EXPECT_EQ(Fill(kSqlite, "path like '@KAVO:LVAR/%'", "100%_\\'"),
            "path like '100\\%\\_\\\\''/%' ESCAPE '\\'");
}

TEST(TemplateTest, PatternOnPostgresHasTheDefaultEscape) {
  EXPECT_EQ(Fill(kPostgres, "path like '@KAVO:LVAR/%'", "100%_\\'"), "path like '100\\%\\_\\\\''/%'");
}

TEST(TemplateTest, EscapeFollowsItsOwnLiteralOnly) {
  EXPECT_EQ(
      Fill(kSqlite, "a = '@KAVO:VAR' or a like '@KAVO:LVAR/%';DELETE FROM b WHERE c = 'it''s'", "x", "y"),
      "a = 'x' or a like 'y/%' ESCAPE '\\';DELETE FROM b WHERE c = 'it''s'");
}

TEST(TemplateTest, EscapeStandsBehindTheLiteralEvenWhenQuotesFollowTheValue) {
  EXPECT_EQ(Fill(kSqlite, "a like '@KAVO:LVAR''%' and b = ''", "x"), "a like 'x''%' ESCAPE '\\' and b = ''");
}

TEST(TemplateTest, PatternAloneIsATemplateToo) {
  EXPECT_EQ(Fill(kSqlite, "'@KAVO:LVAR/%'", "a_b"), "'a\\_b/%' ESCAPE '\\'");
  EXPECT_EQ(Fill(kPostgres, "'@KAVO:LVAR/%'", "a_b"), "'a\\_b/%'");
}

TEST(TemplateTest, SuffixPattern) {
  EXPECT_EQ(Fill(kSqlite, "path like '%@KAVO:LVAR'", "x"), "path like '%x' ESCAPE '\\'");
}

// In literals that begin with a letter a backslash or a dollar has a meaning.
TEST(TemplateTest, LiteralsOfAnotherKindAreRefused) {
  for (const int type : {kSqlite, kPostgres}) {
    for (const char* text : {"a = E'@KAVO:VAR'", "a = e'@KAVO:LVAR'", "a = U&'@KAVO:VAR'", "a = n'@KAVO:VAR'",
                             "a = _'@KAVO:VAR'", "a = 1'@KAVO:VAR'", "a = \xC3\xA9'@KAVO:VAR'"}) {
      EXPECT_TRUE(Refused(type, text, "x")) << text;
    }
    EXPECT_TRUE(Refused(type, "a = @KAVO:NEVAR'@KAVO:VAR'", "E", "x"));
    EXPECT_TRUE(Refused(type, "a = @KAVO:NEVAR", "E'x'"));
    EXPECT_TRUE(Refused(type, "a = @KAVO:INT'x'", 1));
  }
}

TEST(TemplateTest, ALiteralMayFollowAnySign) {
  for (const char* text : {"'@KAVO:VAR'", "a='@KAVO:VAR'", "('@KAVO:VAR','x')", "a like\t'@KAVO:VAR'",
                           "a = 'x''@KAVO:VAR'", "a||'@KAVO:VAR'"}) {
    EXPECT_FALSE(Refused(kPostgres, text, "x")) << text;
  }
}

TEST(TemplateTest, IntegersAreDecimal) {
  EXPECT_EQ(Fill(kSqlite, "@KAVO:INT @KAVO:LLINT '@KAVO:INT'", 0, 5'000'000'000LL, 7), "0 5000000000 '7'");
  EXPECT_EQ(Fill(kSqlite, "@KAVO:INT @KAVO:INT", INT_MIN, INT_MAX), "-2147483648 2147483647");
  EXPECT_EQ(Fill(kSqlite, "@KAVO:LLINT @KAVO:LLINT", LLONG_MIN, LLONG_MAX),
            "-9223372036854775808 9223372036854775807");
}

TEST(TemplateTest, NegativeIntegerHasALeadingMinus) {
  EXPECT_EQ(Fill(kSqlite, "version = @KAVO:INT", -5), "version = -5");
}

TEST(TemplateTest, NegativeNumberBehindAMinusIsNoComment) {
  EXPECT_EQ(Fill(kSqlite, "SELECT 1-@KAVO:INT", -5), "SELECT 1- -5");
  EXPECT_EQ(Fill(kSqlite, "SELECT 1-@KAVO:VAR", "-5.5"), "SELECT 1- -5.5");
  EXPECT_EQ(Fill(kSqlite, "'-@KAVO:INT'", -5), "'--5'");
}

TEST(TemplateTest, BareTextTakesNumbersAndNull) {
  for (const char* number : {"0", "-35.500000", "+1", ".5", "5.", "1e9", "-1.5E-07", "NULL"}) {
    EXPECT_EQ(Fill(kPostgres, "lat = @KAVO:VAR,", number), "lat = " + std::string(number) + ",");
  }
}

TEST(TemplateTest, BareTextRefusesEverythingElse) {
  for (const char* text : {"",     "-",     ".",   "1 ",    " 1", "1,2", "1e",     "1e+",
                           "0x10", "1--",   "(1)", "NULLS", "x",  "'1'", "1 OR 1", "1;DROP TABLE x",
                           "-.",   "1.2.3", "--1", "35,5"}) {
    EXPECT_TRUE(Refused(kSqlite, "lat = @KAVO:VAR", text)) << text;
    EXPECT_TRUE(Refused(kSqlite, "lat = @KAVO:LVAR", text)) << text;
  }
}

TEST(TemplateTest, NumbersThatAreNoneBecomeNull) {
  for (const char* text : {"nan", "-nan", "inf", "-inf", "INF", "null"}) {
    EXPECT_EQ(Fill(kPostgres, "lat = @KAVO:VAR", text), "lat = NULL") << text;
  }
}

TEST(TemplateTest, PlaceholdersInValuesStay) {
  EXPECT_EQ(Fill(kSqlite, "'@KAVO:VAR' '@KAVO:VAR' @KAVO:INT", "@KAVO:VAR@KAVO:INT", "@KAVO:", 3),
            "'@KAVO:VAR@KAVO:INT' '@KAVO:' 3");
  EXPECT_EQ(Fill(kSqlite, "@KAVO:NEVAR '@KAVO:VAR'", "@KAVO:VAR", "x"), "@KAVO:VAR 'x'");
}

TEST(TemplateTest, ArgumentsAreTakenFromLeftToRight) {
  EXPECT_EQ(
      Fill(kSqlite, "@KAVO:NEVAR @KAVO:LLINT '@KAVO:LVAR' @KAVO:INT '@KAVO:VAR'", "t", 1LL, "p", 2, "v"),
      "t 1 'p' ESCAPE '\\' 2 'v'");
}

TEST(TemplateTest, UnknownPlaceholderIsText) {
  EXPECT_EQ(Fill(kSqlite, "@KAVO:FOO @KAVO: @KAVO '@KAVO:VAR' @", "x"), "@KAVO:FOO @KAVO: @KAVO 'x' @");
}

TEST(TemplateTest, TemplateWithoutPlaceholdersIsCopied) {
  EXPECT_EQ(Fill(kSqlite, "select 'it''s', '' from t; "), "select 'it''s', '' from t; ");
  EXPECT_EQ(Fill(kPostgres, ""), "");
}

TEST(TemplateTest, EmptyValues) {
  EXPECT_EQ(Fill(kSqlite, "a = '@KAVO:VAR' and b like '@KAVO:LVAR'", "", ""),
            "a = '' and b like '' ESCAPE '\\'");
}

TEST(TemplateTest, NullsAndUnknownTypesAreRefused) {
  const char* none = nullptr;
  EXPECT_EQ(KAVODBEscapeStringEX3(kSqlite, nullptr), nullptr);
  EXPECT_TRUE(Refused(kSqlite, "'@KAVO:VAR'", none));
  EXPECT_TRUE(Refused(kSqlite, "'@KAVO:LVAR'", none));
  EXPECT_TRUE(Refused(kSqlite, "@KAVO:NEVAR", none));
  EXPECT_TRUE(Refused(2, "x"));
  EXPECT_TRUE(Refused(-1, "x"));
}

TEST(TemplateTest, UnclosedLiteralIsRefused) {
  EXPECT_TRUE(Refused(kSqlite, "path like '@KAVO:LVAR", "x"));
  EXPECT_TRUE(Refused(kPostgres, "path = 'x''"));
}

TEST(TemplateTest, LongValuesAreWhole) {
  const std::string quotes(100'000, '\'');
  EXPECT_EQ(Fill(kSqlite, "'@KAVO:VAR'", quotes.c_str()), "'" + quotes + quotes + "'");
}

// What the writer knows about literals has to hold behind a name that itself holds one.
TEST(TemplateTest, QuotesOfANameCount) {
  EXPECT_EQ(Fill(kSqlite, "@KAVO:NEVAR '@KAVO:VAR'", "a = 'b' and c =", "x'y"), "a = 'b' and c = 'x''y'");
}

class TemplateOnEngineTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    if (IsSkipped()) return;
    Send(db(),
         "CREATE TABLE t (path text); CREATE TABLE inj_canary (x text); INSERT INTO inj_canary VALUES ('1')");
  }

  std::vector<std::string> Values() const {
    std::vector<std::string> values = HostileNames();
    // PostgreSQL refuses texts that are not UTF-8; their statements fail as a whole.
    if (sqlite()) {
      for (const std::string& bytes : HostileBytes()) values.push_back(bytes);
    }
    return values;
  }
};
INSTANTIATE_TEST_SUITE_P(Engines, TemplateOnEngineTest, BothTypes(), TypeName);

TEST_P(TemplateOnEngineTest, HostileValuesComeBackAsTheyWere) {
  for (const std::string& value : Values()) {
    Send(db(), "DELETE FROM t");
    const std::string insert = Fill(GetParam(), "INSERT INTO t VALUES ('@KAVO:VAR')", value.c_str());
    EXPECT_EQ(KAVODBAffectedRows(db().get(), Send(db(), insert).get()), 1) << insert;
    EXPECT_EQ(Value(db(), "SELECT path AS v FROM t"), value);
    const std::string select =
        Fill(GetParam(), "SELECT count(*) AS v FROM t WHERE path = '@KAVO:VAR'", value.c_str());
    EXPECT_EQ(Value(db(), select), "1") << select;
  }
  EXPECT_EQ(Value(db(), "SELECT count(*) AS v FROM inj_canary"), "1");
}

// SQLite's LIKE takes all characters that are none for one, so two names that differ in such bytes match each
// other. The bounds of the index keep them apart.
TEST_P(TemplateOnEngineTest, PatternOfANameFindsThatNameOnly) {
  Send(db(), "CREATE UNIQUE INDEX t_path ON t (path)");
  for (const std::string& value : Values()) {
    Send(db(), Fill(GetParam(), "INSERT INTO t VALUES ('@KAVO:VAR.jpg')", value.c_str()));
  }
  for (const std::string& value : Values()) {
    const std::string name = value + ".jpg";
    const std::string select =
        LikePrefix() + Fill(GetParam(), "SELECT path AS v FROM t WHERE path like '@KAVO:LVAR'", name.c_str());
    const auto found = Column(Send(db(), select), "v");
    ASSERT_EQ(found.size(), 1U) << select;
    EXPECT_EQ(found.front(), name);
  }
}

TEST_P(TemplateOnEngineTest, FolderPatternFindsWhatIsBelowThatFolderOnly) {
  const std::vector<std::string> folders = Values();
  for (const std::string& folder : folders) {
    Send(db(), Fill(GetParam(), "INSERT INTO t VALUES ('@KAVO:VAR/a.jpg')", folder.c_str()));
  }
  Send(db(), "CREATE UNIQUE INDEX t_path ON t (path)");
  for (const std::string& folder : folders) {
    const std::string sql =
        LikePrefix() + Fill(GetParam(), "DELETE FROM t WHERE path like '@KAVO:LVAR/%'", folder.c_str());
    EXPECT_EQ(KAVODBAffectedRows(db().get(), Send(db(), sql).get()), 1) << sql;
  }
  EXPECT_EQ(Value(db(), "SELECT count(*) AS v FROM t"), "0");
}

TEST_P(TemplateOnEngineTest, SiblingThatAWildcardWouldMatchStays) {
  Send(db(), "INSERT INTO t VALUES ('a_b/1'), ('axb/1'), ('a%b/1'), ('a_b'), ('a\\_b/1')");
  Send(db(), LikePrefix() + Fill(GetParam(), "DELETE FROM t WHERE path like '@KAVO:LVAR/%'", "a_b"));
  const auto left = Column(Send(db(), "SELECT path FROM t"), "path");
  EXPECT_EQ(left, (std::vector<std::optional<std::string>>{"axb/1", "a%b/1", "a_b", "a\\_b/1"}));
}

TEST_P(TemplateOnEngineTest, LetterCaseCountsInAPattern) {
  Send(db(), "INSERT INTO t VALUES ('Holiday/1'), ('holiday/1')");
  const std::string sql =
      LikePrefix() + Fill(GetParam(), "DELETE FROM t WHERE path like '@KAVO:LVAR/%'", "Holiday");
  EXPECT_EQ(KAVODBAffectedRows(db().get(), Send(db(), sql).get()), 1);
  EXPECT_EQ(Value(db(), "SELECT path AS v FROM t"), "holiday/1");
}

TEST_P(TemplateOnEngineTest, NumbersHaveTheirValue) {
  const std::string sql =
      Fill(GetParam(), "SELECT @KAVO:INT-@KAVO:INT = 6 AND @KAVO:LLINT < 0 AND @KAVO:VAR < 0 AS v", 1, -5,
           LLONG_MIN, "-35.5");
  EXPECT_EQ(Value(db(), sql), sqlite() ? "1" : "t");
}

TEST(TemplateOnSqliteTest, FolderPatternIsAnsweredByTheIndex) {
  const TempDir dir;
  const Connection db = OpenSqlite(dir / "photo.db");
  Send(db, "CREATE TABLE t (path text); CREATE UNIQUE INDEX t_path ON t (path)");
  const std::string select = Fill(kSqlite, "SELECT 1 FROM t WHERE path like '@KAVO:LVAR/%'", "a_b%c\\d'e");
  const auto plan =
      Column(Send(db, "PRAGMA case_sensitive_like=true; EXPLAIN QUERY PLAN " + select), "detail");
  ASSERT_EQ(plan.size(), 1U);
  EXPECT_EQ(plan.front(), "SEARCH t USING COVERING INDEX t_path (path>? AND path<?)");
}

TEST(TemplateOnSqliteTest, EveryFilledTemplateIsOneStatement) {
  const TempDir dir;
  const Connection db = OpenSqlite(dir / "photo.db");
  Send(db, "CREATE TABLE t (path text); INSERT INTO t VALUES ('kept')");
  for (const std::string& value : HostileBytes()) {
    const Result result = Send(db, Fill(kSqlite, "SELECT '@KAVO:VAR' AS v, path FROM t", value.c_str()));
    KAVODB_ROW row = nullptr;
    ASSERT_EQ(KAVODBFetchRow(result.get(), &row), 0);
    EXPECT_EQ(KAVODBFetchField(result.get(), row, "v"), value);
    EXPECT_STREQ(KAVODBFetchField(result.get(), row, "path"), "kept");
  }
}

}  // namespace
