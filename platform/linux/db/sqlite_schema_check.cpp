#include "db/sqlite_schema_check.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

#include "base/ascii.h"
#include "db/sqlite_tokens.h"

namespace {

// Of personal libraries, and of the service's catalogues. All other names are other people's.
constexpr std::string_view kOurs[] = {"photo_image",
                                      "video",
                                      "video_desc",
                                      "video_comment",
                                      "video_convert",
                                      "photo_share",
                                      "photo_access_right",
                                      "photo_access_right_for_zor_account",
                                      "photo_upload_right",
                                      "photo_upload_right_for_zor_account",
                                      "photo_manage_right",
                                      "photo_manage_right_for_zor_account",
                                      "photo_config",
                                      "photo_label",
                                      "photo_image_label",
                                      "photo_video_label",
                                      "lumivault_fact",
                                      "entry",
                                      "fact"};
constexpr std::string_view kOfSqlite = "sqlite_";
constexpr std::string_view kKnownOfSqlite[] = {"sqlite_sequence", "sqlite_stat1", "sqlite_stat2",
                                               "sqlite_stat3", "sqlite_stat4"};
// A check, or the condition of an index, is evaluated for each row that is written.
constexpr int kMostConditionTokens = 64;

bool IsOneOf(std::string_view token, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [token](const char* word) { return EqualsIgnoreAsciiCase(token, word); });
}

template <std::size_t kSize>
bool Has(const std::string_view (&names)[kSize], std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// For people: short, and nothing that a terminal would obey.
std::string Shown(std::string_view name) {
  constexpr std::size_t kLongestName = 64;
  std::string shown(name.substr(0, kLongestName));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return shown;
}

std::string Upper(std::string_view word) {
  std::string upper = Shown(word);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return upper;
}

// For a name that a person may hand to a shell as it stands.
std::string DropOf(const std::string& kind, std::string_view name) {
  const std::string keep = "keep it in a database of its own.";
  if (name.empty() || FirstWord(name) != name || name.size() > 64)
    return "Remove it with sqlite3, or " + keep;
  return "Remove it (sqlite3 FILE 'DROP " + kind + " " + std::string(name) + "'), or " + keep;
}

// Reads what was created, up to what is foreign in it.
class Reading {
 public:
  explicit Reading(const SchemaObject& object) : row_table_(object.table), tokens_(object.created) {
    Move();
    const bool created = Passes("CREATE");
    if (created && Passes("TABLE")) {
      kind_ = Kind::kTable;
      TakeName("the table");
    } else if (created && (Passes("UNIQUE"), Passes("INDEX"))) {
      kind_ = Kind::kIndex;
      TakeName("the index");
      on_ = Passes("ON");
      if (on_) TakeTable();
    } else if (created) {
      kind_ = Kind::kOther;
    }
  }

  [[nodiscard]] bool is_table() const { return kind_ == Kind::kTable; }
  [[nodiscard]] const std::string& table() const { return table_; }

  // A foreign key may write such a table when one of ours is written.
  static bool IsWrittenAlong(std::string_view created) {
    SqliteTokens tokens(created);
    for (std::string_view token = tokens.Next(); !token.empty(); token = tokens.Next()) {
      if (IsOneOf(token, {"CASCADE", "SET"})) return true;
    }
    return tokens.broken();
  }

  // MAY_COMPUTE: nobody evaluates what it says.
  std::optional<ForeignPart> Foreign(bool may_compute) {
    switch (kind_) {
      case Kind::kTable:
        return Told(ForeignInTable(may_compute));
      case Kind::kIndex:
        return Told(ForeignInIndex(may_compute));
      case Kind::kOther:
        return Other();
      case Kind::kNone:
        return ForeignPart{"something that nobody created", "Keep the library in a database of its own."};
    }
    return std::nullopt;
  }

 private:
  enum class Kind { kNone, kTable, kIndex, kOther };

  void Move() {
    before_ = now_;
    now_ = tokens_.Next();
  }
  bool Passes(const char* word) {
    if (!IsOneOf(now_, {word})) return false;
    Move();
    return true;
  }
  std::string In(const std::string& what) const { return what + " in " + object_; }
  void TakeName(const char* kind) {
    object_ = kind + (" " + Shown(now_));
    name_ = table_ = SqliteTokens::NameOf(now_);
    Move();
  }
  void TakeTable() {
    table_ = SqliteTokens::NameOf(now_);
    Move();
  }

  std::optional<ForeignPart> Told(const std::string& what) const {
    if (what.empty()) return std::nullopt;
    if (kind_ == Kind::kIndex) return ForeignPart{what, DropOf("INDEX", name_)};
    if (!Has(kOurs, table_)) return ForeignPart{what, "Keep that table in a database of its own."};
    return ForeignPart{what, "Put a copy of the file back that has none."};
  }
  ForeignPart Other() {
    const bool is_virtual = Passes("VIRTUAL");
    const std::string kind = is_virtual ? "TABLE" : Upper(now_);
    std::string shown = is_virtual ? "virtual table" : Shown(now_);
    std::transform(shown.begin(), shown.end(), shown.begin(), LowerAscii);
    Move();
    const std::string what = "the " + shown + " " + Shown(now_);
    return {what, DropOf(kind, IsOneOf(kind, {"TABLE", "VIEW", "TRIGGER"}) ? now_ : "")};
  }
  // Where the text ends or is broken.
  std::string AtEnd(std::size_t depth) const {
    if (tokens_.broken()) return In("a variable, or a quote or comment without end");
    return depth > 0 ? In("a parenthesis without end") : "";
  }

  // A function has any name, in quotes or not, and some operators are functions.
  bool Calls() const {
    if (IsOneOf(now_, {"LIKE", "GLOB", "REGEXP", "MATCH"})) return true;
    if (now_ == ">" && before_ == "-") return true;
    if (now_ != "(" || before_.empty()) return false;
    const char first = before_.front();
    if (SqliteTokens::IsQuote(first)) return true;
    return SqliteTokens::BeginsWord(first) &&
           !IsOneOf(before_, {"AND", "OR", "NOT", "IN", "BETWEEN", "CASE", "WHEN", "THEN", "ELSE", "IS",
                              "CHECK", "DEFAULT", "WHERE"});
  }
  std::string Called() const {
    if (now_ == ">") return In("->");
    return In(Shown(now_ == "(" ? before_ : now_) + "()");
  }
  // What is not for a short comparison, in one token.
  std::string ForeignInCondition() {
    if (Calls()) return Called();
    if (now_.size() == 1 && std::string_view("|*/%&~").find(now_.front()) != std::string_view::npos)
      return In("a computation (" + std::string(now_) + ")");
    return ++condition_tokens_ > kMostConditionTokens ? In("a long condition") : "";
  }
  // In a list of columns, or what goes with a type.
  std::string ForeignInList() const {
    if (Calls()) return Called();
    const bool is_name = SqliteTokens::BeginsWord(now_.front()) || SqliteTokens::IsQuote(now_.front());
    const bool computes = IsOneOf(
        now_, {"AND", "OR", "NOT", "IS", "IN", "BETWEEN", "CASE", "ISNULL", "NOTNULL", "ESCAPE", "CAST"});
    const bool is_sign = is_table() && (now_ == "+" || now_ == "-" || now_ == ".");
    return (is_name && !computes) || now_ == "," || is_sign ? "" : In("an expression");
  }

  std::string ForeignInIndex(bool may_compute) {
    const std::string row_table = SqliteTokens::NameOf(row_table_);
    if (table_.starts_with(kOfSqlite) || row_table.starts_with(kOfSqlite))
      return object_ + " of a table of SQLite's own";
    if (!on_) return In("no ON");
    if (!Passes("(")) return In(Shown(now_) + " behind the table's name");
    std::size_t depth = 1;
    bool in_condition = false;
    for (; !now_.empty(); Move()) {
      if (now_ == ";") return In("a semicolon");
      if (now_ == "(") ++depth;
      if (now_ == ")" && depth == 0) return In("a parenthesis too many");
      if (now_ == ")" && --depth == 0 && !in_condition) continue;
      if (depth == 0) in_condition = true;
      if (may_compute) continue;
      std::string foreign = in_condition ? ForeignInCondition() : ForeignInList();
      if (!foreign.empty()) return foreign;
    }
    return AtEnd(depth);
  }

  std::string ForeignInTable(bool may_compute) {
    if (table_.starts_with(kOfSqlite) && !Has(kKnownOfSqlite, table_))
      return object_ + " with a name of SQLite's own";
    if (!Passes("(")) return In(now_.empty() ? "no column" : Shown(now_) + " behind the name");
    std::size_t expression = 0;  // the depth of the one that is being read
    std::size_t depth = 1;
    for (; !now_.empty() && depth > 0; Move()) {
      if (now_ == ";") return In("a semicolon");
      if (depth == 1 && IsOneOf(now_, {"AS"})) return In("a generated column");
      if (now_ == "(") ++depth;
      if (now_ == "(" && expression == 0 && IsOneOf(before_, {"CHECK", "DEFAULT"})) expression = depth;
      if (std::string foreign = may_compute ? "" : ForeignInDefinition(depth, expression != 0);
          !foreign.empty()) {
        return foreign;
      }
      if (now_ != ")") continue;
      if (depth == expression) expression = 0;
      --depth;
    }
    return depth > 0 ? AtEnd(depth) : ForeignBehindTable();
  }
  // Outside of expressions there are sizes of types and lists of columns in parentheses.
  std::string ForeignInDefinition(std::size_t depth, bool in_expression) {
    constexpr std::size_t kInList = 2;
    if (in_expression) return ForeignInCondition();
    if (depth < kInList || now_ == "(" || now_ == ")") return depth > kInList ? In("an expression") : "";
    return ForeignInList();
  }
  // WITHOUT ROWID, STRICT
  std::string ForeignBehindTable() {
    for (; !now_.empty(); Move()) {
      if (now_ != "," && !IsOneOf(now_, {"WITHOUT", "ROWID", "STRICT"}))
        return In(Shown(now_) + " behind the columns");
    }
    return AtEnd(0);
  }

  std::string_view row_table_;
  SqliteTokens tokens_;
  std::string_view before_;
  std::string_view now_;
  Kind kind_ = Kind::kNone;
  bool on_ = false;
  int condition_tokens_ = 0;
  std::string object_;
  std::string name_;
  std::string table_;
};

// The tables of which nobody evaluates anything. One that is not among them is no such table.
std::set<std::string> NeverWritten(const std::vector<SchemaObject>& schema) {
  std::set<std::string> tables;
  for (const SchemaObject& object : schema) {
    const Reading reading(object);
    const std::string& name = reading.table();
    const bool is_others = reading.is_table() && !Has(kOurs, name) && !name.starts_with(kOfSqlite);
    if (is_others && !Reading::IsWrittenAlong(object.created)) tables.insert(name);
  }
  return tables;
}

}  // namespace

std::optional<ForeignPart> FindForeignPart(const std::vector<SchemaObject>& schema) {
  const std::set<std::string> never_written = NeverWritten(schema);
  for (const SchemaObject& object : schema) {
    Reading reading(object);
    if (auto foreign = reading.Foreign(never_written.contains(reading.table()))) return foreign;
  }
  return std::nullopt;
}
