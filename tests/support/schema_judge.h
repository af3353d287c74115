#ifndef TESTS_SUPPORT_SCHEMA_JUDGE_H_
#define TESTS_SUPPORT_SCHEMA_JUDGE_H_

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

// What SQLite itself makes of a text, on a database of its own.
class SchemaJudge {
 public:
  explicit SchemaJudge(const std::string& text) {
    // Whether the name of the row is that of the text is of no matter here.
    sqlite3_test_control(SQLITE_TESTCTRL_EXTRA_SCHEMA_CHECKS, 0);
    sqlite3* opened = nullptr;
    sqlite3_open(":memory:", &opened);
    database_.reset(opened);
    Run("CREATE TABLE old (a)");
    Run("CREATE TABLE place (a)");
    Run("CREATE INDEX index_place ON old (a)");
    Run("PRAGMA writable_schema = ON");
    const bool is_index = text.find("INDEX") != std::string::npos;
    const Text put(sqlite3_mprintf("UPDATE sqlite_schema SET sql = %Q WHERE name = %Q", text.c_str(),
                                   is_index ? "index_place" : "place"),
                   &sqlite3_free);
    Run(put.get());
    sqlite3_set_authorizer(opened, &NoteCall, this);
    // What SQLite takes on loading alone is more than what it lets people create.
    Run("PRAGMA writable_schema = RESET");
    taken_ = Run("SELECT 1 FROM old");
    sqlite3_set_authorizer(opened, nullptr, nullptr);
    if (taken_ && is_index) LookAtIndex();
    if (!taken_ || is_index) return;
    const std::string name = Value(
        "SELECT name FROM pragma_table_list WHERE name NOT IN ('old', 'place', "
        "'sqlite_schema', 'sqlite_temp_schema')");
    Look(name.empty() ? "place" : name);
  }

  [[nodiscard]] bool taken() const { return taken_; }
  [[nodiscard]] bool does_something() const { return does_something_; }

 private:
  using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;
  using Text = std::unique_ptr<char, decltype(&sqlite3_free)>;

  static int NoteCall(void* judge, int action, const char*, const char* function, const char*, const char*) {
    const std::string_view name = function != nullptr ? function : "";
    if (action == SQLITE_FUNCTION && !name.starts_with("current_"))
      static_cast<SchemaJudge*>(judge)->does_something_ = true;
    return SQLITE_OK;
  }
  void LookAtIndex() {
    if (Calls("EXPLAIN INSERT INTO old VALUES (1)")) does_something_ = true;
  }
  void Look(const std::string& table) {
    const Text insert(sqlite3_mprintf("EXPLAIN INSERT INTO \"%w\" DEFAULT VALUES", table.c_str()),
                      &sqlite3_free);
    const Text computed(
        sqlite3_mprintf("SELECT count(*) FROM pragma_table_xinfo(%Q) WHERE hidden <> 0", table.c_str()),
        &sqlite3_free);
    // What other people's tables call nobody calls.
    const bool is_ours = sqlite3_stricmp(table.c_str(), "video") == 0;
    if (Value(computed.get()) != "0" || (is_ours && Calls(insert.get()))) does_something_ = true;
  }
  // What a default or an index calls shows in the program that uses it.
  bool Calls(const char* explained) {
    constexpr int kOpcode = 1;
    constexpr int kCalled = 5;
    const Statement statement = Prepared(explained);
    bool calls = false;
    while (statement != nullptr && sqlite3_step(statement.get()) == SQLITE_ROW) {
      const std::string operation = Column(statement, kOpcode);
      const bool is_call = operation.find("Func") != std::string::npos || operation == "Concat";
      if (is_call && !Column(statement, kCalled).starts_with("current_")) calls = true;
    }
    return calls;
  }
  // The first statement of SQL.
  bool Run(const std::string& sql) {
    Value(sql);
    return sqlite3_errcode(database_.get()) == SQLITE_OK || sqlite3_errcode(database_.get()) == SQLITE_ROW ||
           sqlite3_errcode(database_.get()) == SQLITE_DONE;
  }
  std::string Value(const std::string& sql) {
    const Statement statement = Prepared(sql.c_str());
    if (statement == nullptr || sqlite3_step(statement.get()) != SQLITE_ROW) return "";
    return Column(statement, 0);
  }
  Statement Prepared(const char* sql) {
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(database_.get(), sql, -1, &prepared, nullptr);
    return Statement(prepared, &sqlite3_finalize);
  }
  static std::string Column(const Statement& row, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row.get(), column));
    return text != nullptr ? text : "";
  }

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> database_{nullptr, &sqlite3_close};
  bool taken_ = false;
  bool does_something_ = false;
};

#endif  // TESTS_SUPPORT_SCHEMA_JUDGE_H_
