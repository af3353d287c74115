// CREATE texts of any content: one that passes makes SQLite neither call nor compute anything; and the tokens
// that a text is divided into stand in it, one behind the other.
#include <cstdint>
#include <string>

#include "db/sqlite_schema_check.h"
#include "db/sqlite_tokens.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/sql_pieces.h"
#include "support/schema_judge.h"

namespace {

void CheckTokens(const std::string& text) {
  SqliteTokens tokens(text);
  std::size_t from = 0;
  for (std::string_view token = tokens.Next(); !token.empty(); token = tokens.Next()) {
    const auto at = static_cast<std::size_t>(token.data() - text.data());
    Require(at >= from && at + token.size() <= text.size(), "a token that is not there", text);
    Require(SqliteTokens::NameOf(token).size() <= token.size(), "a longer name", token);
    from = at + token.size();
  }
  Require(tokens.Next().empty(), "more behind the end", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = Pieced(TextOf(data, size), kSchemaPieces);
  text.resize(std::min(text.find('\0'), text.size()));
  CheckTokens(text);
  if (FindForeignPart({{text, ""}})) return 0;
  const SchemaJudge judge(text);
  Require(!judge.taken() || !judge.does_something(), "it does something", text);
  return 0;
}
