#ifndef SERVICE_DATABASE_DATABASE_READER_H_
#define SERVICE_DATABASE_DATABASE_READER_H_

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/outcome.h"
#include "library/library.h"
#include "platform/database.h"

// The service's own look at a library's database, through the platform's database interface.
class DatabaseReader {
 public:
  // One row, with the columns in the order asked for; nothing stands for SQL NULL.
  using Row = std::vector<std::optional<std::string>>;
  using Columns = std::vector<const char*>;

  // Opens the SQLite database FILE; false when it is not there or cannot be opened.
  explicit DatabaseReader(const std::string& file);
  // Connects to the PostgreSQL database DATABASE; false when that failed.
  static DatabaseReader OpenOnServer(const std::string& database);
  // Opens the database of LIBRARY.
  static DatabaseReader Open(const Library& library);
  // The same without any need to write: nothing is made or changed.
  static DatabaseReader OpenForReading(const Library& library);
  static DatabaseReader OpenForReading(const std::string& file);

  // One that is false fails every question, so that callers may ask without looking.
  explicit operator bool() const { return connection_ != nullptr; }
  bool on_server() const { return KAVODBDatabaseTypeGet(connection_.get()) == KAVODB_TYPE_POSTGRES; }
  // It is a database, be it an empty one; else error() tells what is wrong.
  bool IsReadable();
  // The server has a database of this name.
  bool HasDatabase(const std::string& name);
  // It has the root album, and so the tables of a library.
  bool HasSchema();
  // The planner has statistics to go by.
  bool HasStatistics();
  [[nodiscard]] bool Run(const char* sql);
  // From here on everything is read as it is now, whatever is written meanwhile.
  [[nodiscard]] bool BeginReading();

  // The rows of a statement made from a template and its values (texts); nothing on failure, whose text
  // error() tells.
  template <typename... Values>
  std::optional<std::vector<Row>> Query(const Columns& columns, const char* sql_template,
                                        const Values&... values) {
    return Rows(columns, Fill(sql_template, values...));
  }
  // A part of a statement, escaped.
  template <typename... Values>
  std::string Escaped(const char* sql_template, const Values&... values) const {
    const Text text = Fill(sql_template, values...);
    return text ? text.get() : "";
  }

  // Why the last statement failed, or the opening.
  std::string error() const;

 private:
  struct Close {
    void operator()(KAVODB_CONNECTION* connection) const { KAVODBClose(connection); }
  };
  struct Free {
    void operator()(KAVODB_RESULT* result) const { KAVODBFreeResult(result); }
    void operator()(char* text) const { std::free(text); }
  };
  using Text = std::unique_ptr<char, Free>;

  explicit DatabaseReader(KAVODB_CONNECTION* connection);

  template <typename... Values>
  Text Fill(const char* sql_template, const Values&... values) const {
    return Text(
        KAVODBEscapeStringEX3(KAVODBDatabaseTypeGet(connection_.get()), sql_template, values.c_str()...));
  }
  std::optional<std::vector<Row>> Rows(const Columns& columns, const Text& sql);

  std::unique_ptr<KAVODB_CONNECTION, Close> connection_;
  std::string open_error_;
  // The last statement could be made of its values. One from the database itself may be a text where the
  // template takes a number.
  bool is_askable_ = true;
};

// DATABASE could not be opened, or a statement on it failed.
Failure Unreadable(const DatabaseReader& database);
// The database of the shared tree TREE is there, but not what belongs into it.
Failure WithoutTables(const Library& tree);

#endif  // SERVICE_DATABASE_DATABASE_READER_H_
