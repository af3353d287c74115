// Two values of any bytes in the templates of the program: each filled template is one statement that means
// what the template says, and the values come back as they were.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/sqlite_oracle.h"
#include "platform/database.h"

namespace {

constexpr std::size_t kLongest = 4'096;

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

template <typename... Values>
std::string Fill(int type, const char* sql_template, Values... values) {
  const std::unique_ptr<char, FreeText> text(KAVODBEscapeStringEX3(type, sql_template, values...));
  return text != nullptr ? text.get() : "";
}

const SqliteOracle& Oracle() {
  static const SqliteOracle oracle("PRAGMA case_sensitive_like=true; CREATE TABLE canary (x)");
  return oracle;
}

void CheckLiterals(const std::string& a, const std::string& b) {
  constexpr const char* kTemplate = "SELECT '@KAVO:VAR', @KAVO:INT, '@KAVO:VAR', 'it''s';";
  const std::string sql = Fill(KAVODB_TYPE_SQLITE, kTemplate, a.c_str(), -7, b.c_str());
  const auto row = Oracle().FirstRow(sql);
  Require(TextOf(row, 0) == a && TextOf(row, 2) == b, "the values changed", sql);
  Require(sqlite3_column_int(row.get(), 1) == -7 && TextOf(row, 3) == "it's", "the template changed", sql);
  Require(Fill(KAVODB_TYPE_POSTGRES, kTemplate, a.c_str(), -7, b.c_str()) == sql, "the engines differ", sql);
}

bool IsAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

void CheckPatterns(const std::string& a, const std::string& b) {
  constexpr const char* kTemplate =
      "SELECT '@KAVO:VAR' like '@KAVO:LVAR', '@KAVO:VAR/x' like '@KAVO:LVAR/%', '@KAVO:VAR' like "
      "'@KAVO:LVAR'";
  const std::string sql =
      Fill(KAVODB_TYPE_SQLITE, kTemplate, a.c_str(), a.c_str(), a.c_str(), a.c_str(), a.c_str(), b.c_str());
  const auto row = Oracle().FirstRow(sql);
  Require(sqlite3_column_int(row.get(), 0) == 1, "a value is not like itself", sql);
  Require(sqlite3_column_int(row.get(), 1) == 1, "a file is not below its folder", sql);
  // SQLite takes all bytes that are no character for the same one.
  if (IsAscii(a) && IsAscii(b)) {
    Require((sqlite3_column_int(row.get(), 2) == 1) == (a == b), "a value is like another", sql);
  }
}

// PostgreSQL's text is SQLite's without the clause.
void CheckPatternOnPostgres(const std::string& a) {
  const std::string sqlite = Fill(KAVODB_TYPE_SQLITE, "'@KAVO:LVAR/%'", a.c_str());
  const std::string postgres = Fill(KAVODB_TYPE_POSTGRES, "'@KAVO:LVAR/%'", a.c_str());
  Require(sqlite == postgres + " ESCAPE '\\'", "the engines differ", postgres);
}

// Outside a literal a value is one number or nothing at all.
void CheckBare(const std::string& a) {
  const std::string sql = Fill(KAVODB_TYPE_SQLITE, "SELECT 1-@KAVO:VAR, count(*) FROM canary", a.c_str());
  if (sql.empty()) return;
  const auto row = Oracle().FirstRow(sql);
  Require(sqlite3_column_count(row.get()) == 2, "a bare value became columns", sql);
  const int type = sqlite3_column_type(row.get(), 0);
  Require(type == SQLITE_INTEGER || type == SQLITE_FLOAT || type == SQLITE_NULL, "a bare value is no number",
          sql);
  if (type == SQLITE_NULL) return;
  // The last digit may be read differently.
  constexpr double kTolerance = 1e-12;
  char* end = nullptr;
  const double expected = 1 - std::strtod(a.c_str(), &end);
  const double found = sqlite3_column_double(row.get(), 0);
  const bool same = found == expected || std::abs(found - expected) <= kTolerance * std::abs(expected);
  Require(*end == '\0' && same, "another number", sql);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), std::min(size, 2 * kLongest));
  const std::string a = input.substr(0, std::min(input.find('\0'), kLongest));
  const std::string rest = a.size() < input.size() ? input.substr(a.size() + 1) : "";
  const std::string b = rest.substr(0, std::min(rest.find('\0'), kLongest));
  CheckLiterals(a, b);
  CheckPatterns(a, b);
  CheckPatternOnPostgres(a);
  CheckBare(a);
  return 0;
}
