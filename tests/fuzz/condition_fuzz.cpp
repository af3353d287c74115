// Raw conditions: a value of any bytes between the quotes of the program's own text is one value; any other
// text is refused, or it is a comparison in which nothing gets out of its literal; nothing is written behind
// the buffer.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/sqlite_oracle.h"
#include "platform/database.h"

namespace {

constexpr std::size_t kLongest = 4'096;

std::optional<std::string> Escape(int type, const std::string& condition) {
  std::vector<char> out(2 * condition.size() + 1);  // exactly what callers give
  if (EscapeConditionEX2(type, condition.c_str(), out.data()) < 0) return std::nullopt;
  return out.data();
}

void CheckValue(const std::string& value) {
  static const SqliteOracle oracle("CREATE TABLE t (path text)");
  const std::string condition = Escape(KAVODB_TYPE_SQLITE, " path='" + value + "' ").value_or("");
  Require(Escape(KAVODB_TYPE_POSTGRES, " path='" + value + "' ") == condition, "the engines differ",
          condition);
  (void)oracle.PrepareOne("SELECT path FROM t WHERE" + condition);
  const auto row = oracle.FirstRow("SELECT" + condition.substr(std::string(" path=").size()));
  Require(sqlite3_column_count(row.get()) == 1 && TextOf(row, 0) == value, "the value changed", condition);
}

// Outside literals there is nothing that could begin something else, and every literal ends.
void CheckText(int type, const std::string& text) {
  const std::optional<std::string> escaped = Escape(type, text);
  if (!escaped) return;
  bool in_literal = false;
  for (const char c : *escaped) {
    if (c == '\'') in_literal = !in_literal;
    Require(in_literal || std::string(";\"$/*()[]`&@#:,").find(c) == std::string::npos, "a sign got out",
            *escaped);
  }
  Require(!in_literal, "a literal does not end", *escaped);
  Require(escaped->find("--") >= escaped->find('\''), "a comment began", *escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string value(reinterpret_cast<const char*>(data), std::min(size, kLongest));
  value.resize(std::min(value.find('\0'), value.size()));
  CheckValue(value);
  for (const int type : {KAVODB_TYPE_SQLITE, KAVODB_TYPE_POSTGRES}) {
    CheckText(type, value);
    CheckText(type, "path like '" + value);
    CheckText(type, "path like '" + value + "'");
  }
  return 0;
}
