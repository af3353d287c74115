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
std::string DropStatement(const std::string& kind, std::string_view name) {
  const std::string keep = "keep it in a database of its own.";
  if (name.empty() || FirstWord(name) != name || name.size() > 64)
    return "Remove it with sqlite3, or " + keep;
  return "Remove it (sqlite3 FILE 'DROP " + kind + " " + std::string(name) + "'), or " + keep;
}

// A foreign key may write such a table when one of ours is written.
bool IsWrittenAlong(std::string_view created) {
  SqliteTokens tokens(created);
  for (std::string_view token = tokens.Next(); !token.empty(); token = tokens.Next()) {
    if (IsOneOf(token, {"CASCADE", "SET"})) return true;
  }
  return tokens.broken();
}

// A place in the text that created something: the token there, and the one before it.
class Place {
 public:
  explicit Place(std::string_view created) : tokens_(created) { Move(); }

  [[nodiscard]] std::string_view now() const { return now_; }
  [[nodiscard]] std::string_view before() const { return before_; }
  // The text means something else to everybody who reads it a little differently, from here on.
  [[nodiscard]] bool broken() const { return tokens_.broken(); }

  void Move() {
    before_ = now_;
    now_ = tokens_.Next();
  }
  bool Passes(const char* word) {
    if (!IsOneOf(now_, {word})) return false;
    Move();
    return true;
  }

 private:
  SqliteTokens tokens_;
  std::string_view before_;
  std::string_view now_;
};

// A function has any name, in quotes or not, and some operators are functions.
bool Calls(const Place& place) {
  if (IsOneOf(place.now(), {"LIKE", "GLOB", "REGEXP", "MATCH"})) return true;
  if (place.now() == ">" && place.before() == "-") return true;
  if (place.now() != "(" || place.before().empty()) return false;
  const char first = place.before().front();
  if (SqliteTokens::IsQuote(first)) return true;
  return SqliteTokens::BeginsWord(first) &&
         !IsOneOf(place.before(), {"AND", "OR", "NOT", "IN", "BETWEEN", "CASE", "WHEN", "THEN", "ELSE", "IS",
                                   "CHECK", "DEFAULT", "WHERE"});
}

std::string Called(const Place& place) {
  if (place.now() == ">") return "->";
  return Shown(place.now() == "(" ? place.before() : place.now()) + "()";
}

// What is foreign at one place of an expression of an object, in words; empty when nothing is. What all
// conditions of the object have together is counted.
class Expressions {
 public:
  // What is not for a short comparison.
  std::string InCondition(const Place& place) {
    if (Calls(place)) return Called(place);
    const std::string_view now = place.now();
    if (now.size() == 1 && std::string_view("|*/%&~").find(now.front()) != std::string_view::npos)
      return "a computation (" + std::string(now) + ")";
    return ++condition_tokens_ > kMostConditionTokens ? "a long condition" : "";
  }
  // In a list of columns, or, where it may have SIGNS, in what goes with a type.
  static std::string InList(const Place& place, bool signs) {
    if (Calls(place)) return Called(place);
    const std::string_view now = place.now();
    const bool is_name = SqliteTokens::BeginsWord(now.front()) || SqliteTokens::IsQuote(now.front());
    const bool computes = IsOneOf(
        now, {"AND", "OR", "NOT", "IS", "IN", "BETWEEN", "CASE", "ISNULL", "NOTNULL", "ESCAPE", "CAST"});
    const bool is_sign = signs && (now == "+" || now == "-" || now == ".");
    return (is_name && !computes) || now == "," || is_sign ? "" : "an expression";
  }

 private:
  int condition_tokens_ = 0;
};

// Reads what was created, up to what is foreign in it.
class Reading {
 public:
  explicit Reading(const SchemaObject& object) : row_table_(object.table), place_(object.created) {
    const bool created = place_.Passes("CREATE");
    if (created && place_.Passes("TABLE")) {
      kind_ = Kind::kTable;
      TakeName("the table");
    } else if (created && (place_.Passes("UNIQUE"), place_.Passes("INDEX"))) {
      kind_ = Kind::kIndex;
      TakeName("the index");
      on_ = place_.Passes("ON");
      if (on_) TakeTable();
    } else if (created) {
      kind_ = Kind::kOther;
    }
  }

  [[nodiscard]] bool is_table() const { return kind_ == Kind::kTable; }
  [[nodiscard]] const std::string& table() const { return table_; }

  // MAY_COMPUTE: nobody evaluates what it says.
  std::optional<ForeignPart> FindForeignPart(bool may_compute) {
    switch (kind_) {
      case Kind::kTable:
        return Named(ForeignInTable(may_compute));
      case Kind::kIndex:
        return Named(ForeignInIndex(may_compute));
      case Kind::kOther:
        return Other();
      case Kind::kNone:
        return ForeignPart{"something that nobody created", "Keep the library in a database of its own."};
    }
    return std::nullopt;
  }

 private:
  enum class Kind { kNone, kTable, kIndex, kOther };

  std::string In(const std::string& what) const { return what + " in " + object_; }
  void TakeName(const char* kind) {
    object_ = kind + (" " + Shown(place_.now()));
    name_ = table_ = SqliteTokens::NameOf(place_.now());
    place_.Move();
  }
  void TakeTable() {
    table_ = SqliteTokens::NameOf(place_.now());
    place_.Move();
  }

  std::optional<ForeignPart> Named(const std::string& what) const {
    if (what.empty()) return std::nullopt;
    if (kind_ == Kind::kIndex) return ForeignPart{what, DropStatement("INDEX", name_)};
    if (!Has(kOurs, table_)) return ForeignPart{what, "Keep that table in a database of its own."};
    return ForeignPart{what, "Put a copy of the file back that has none."};
  }
  ForeignPart Other() {
    const bool is_virtual = place_.Passes("VIRTUAL");
    const std::string kind = is_virtual ? "TABLE" : Upper(place_.now());
    std::string shown = is_virtual ? "virtual table" : Shown(place_.now());
    std::transform(shown.begin(), shown.end(), shown.begin(), LowerAscii);
    place_.Move();
    const std::string what = "the " + shown + " " + Shown(place_.now());
    return {what, DropStatement(kind, IsOneOf(kind, {"TABLE", "VIEW", "TRIGGER"}) ? place_.now() : "")};
  }
  // Where the text ends or is broken.
  std::string AtEnd(std::size_t depth) const {
    if (place_.broken()) return In("a variable, or a quote or comment without end");
    return depth > 0 ? In("a parenthesis without end") : "";
  }

  std::string ForeignInIndex(bool may_compute) {
    const std::string row_table = SqliteTokens::NameOf(row_table_);
    if (table_.starts_with(kOfSqlite) || row_table.starts_with(kOfSqlite))
      return object_ + " of a table of SQLite's own";
    if (!on_) return In("no ON");
    if (!place_.Passes("(")) return In(Shown(place_.now()) + " behind the table's name");
    std::size_t depth = 1;
    bool in_condition = false;
    for (; !place_.now().empty(); place_.Move()) {
      const std::string_view now = place_.now();
      if (now == ";") return In("a semicolon");
      if (now == "(") ++depth;
      if (now == ")" && depth == 0) return In("a parenthesis too many");
      if (now == ")" && --depth == 0 && !in_condition) continue;
      if (depth == 0) in_condition = true;
      if (may_compute) continue;
      const std::string foreign =
          in_condition ? expressions_.InCondition(place_) : Expressions::InList(place_, false);
      if (!foreign.empty()) return In(foreign);
    }
    return AtEnd(depth);
  }

  std::string ForeignInTable(bool may_compute) {
    if (table_.starts_with(kOfSqlite) && !Has(kKnownOfSqlite, table_))
      return object_ + " with a name of SQLite's own";
    if (!place_.Passes("("))
      return In(place_.now().empty() ? "no column" : Shown(place_.now()) + " behind the name");
    std::size_t expression = 0;  // the depth of the one that is being read
    std::size_t depth = 1;
    for (; !place_.now().empty() && depth > 0; place_.Move()) {
      const std::string_view now = place_.now();
      if (now == ";") return In("a semicolon");
      if (depth == 1 && IsOneOf(now, {"AS"})) return In("a generated column");
      if (now == "(") ++depth;
      if (now == "(" && expression == 0 && IsOneOf(place_.before(), {"CHECK", "DEFAULT"})) expression = depth;
      const std::string foreign = may_compute ? "" : ForeignInDefinition(depth, expression != 0);
      if (!foreign.empty()) return In(foreign);
      if (now != ")") continue;
      if (depth == expression) expression = 0;
      --depth;
    }
    return depth > 0 ? AtEnd(depth) : ForeignBehindTable();
  }
  // Outside of expressions there are sizes of types and lists of columns in parentheses.
  std::string ForeignInDefinition(std::size_t depth, bool in_expression) {
    constexpr std::size_t kInList = 2;
    if (in_expression) return expressions_.InCondition(place_);
    if (depth < kInList || place_.now() == "(" || place_.now() == ")")
      return depth > kInList ? "an expression" : "";
    return Expressions::InList(place_, true);
  }
  // WITHOUT ROWID, STRICT
  std::string ForeignBehindTable() {
    for (; !place_.now().empty(); place_.Move()) {
      if (place_.now() != "," && !IsOneOf(place_.now(), {"WITHOUT", "ROWID", "STRICT"}))
        return In(Shown(place_.now()) + " behind the columns");
    }
    return AtEnd(0);
  }

  std::string_view row_table_;
  Place place_;
  Expressions expressions_;
  Kind kind_ = Kind::kNone;
  bool on_ = false;
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
    if (is_others && !IsWrittenAlong(object.created)) tables.insert(name);
  }
  return tables;
}

}  // namespace

std::optional<ForeignPart> FindForeignPart(const std::vector<SchemaObject>& schema) {
  const std::set<std::string> never_written = NeverWritten(schema);
  for (const SchemaObject& object : schema) {
    Reading reading(object);
    if (auto foreign = reading.FindForeignPart(never_written.contains(reading.table()))) return foreign;
  }
  return std::nullopt;
}
