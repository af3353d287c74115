#ifndef SERVICE_DATABASE_READER_H_
#define SERVICE_DATABASE_READER_H_

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outcome.h"
#include "platform/database.h"

// The service's own look at a library's database, through the platform's database interface.
class DatabaseReader {
 public:
  // One row, with the columns in the order asked for; nothing stands for SQL NULL.
  using Row = std::vector<std::optional<std::string>>;
  using Columns = std::vector<const char*>;

  // Opens FILE; false when it is not there or cannot be opened.
  explicit DatabaseReader(const std::string& file);
  // The same without any need to write: nothing is made or changed.
  static DatabaseReader ForReading(const std::string& file);

  explicit operator bool() const { return connection_ != nullptr; }
  // It is a database, be it an empty one; else error() tells what is wrong.
  bool IsReadable();
  // The tables are there.
  bool HasSchema();
  [[nodiscard]] bool Run(const char* sql);

  // The rows of a statement made from a template and its values (texts); nothing on failure, whose text
  // error() tells.
  template <typename... Values>
  std::optional<std::vector<Row>> Query(const Columns& columns, const char* sql_template,
                                        const Values&... values) {
    return Rows(columns, Fill(sql_template, values...));
  }
  // A part of a statement, escaped.
  template <typename... Values>
  static std::string Escaped(const char* sql_template, const Values&... values) {
    const Text text = Fill(sql_template, values...);
    return text ? text.get() : "";
  }

  const char* error() const { return KAVODBErrorGet(connection_.get()); }

 private:
  struct Close {
    void operator()(KAVODB_CONNECTION* connection) const { KAVODBClose(connection); }
  };
  struct Free {
    void operator()(KAVODB_RESULT* result) const { KAVODBFreeResult(result); }
    void operator()(char* text) const { std::free(text); }
  };
  using Text = std::unique_ptr<char, Free>;

  template <typename... Values>
  static Text Fill(const char* sql_template, const Values&... values) {
    return Text(KAVODBEscapeStringEX3(KAVODB_TYPE_SQLITE, sql_template, values.c_str()...));
  }
  std::optional<std::vector<Row>> Rows(const Columns& columns, const Text& sql);

  DatabaseReader() = default;

  std::unique_ptr<KAVODB_CONNECTION, Close> connection_;
};

// A statement of DATABASE failed.
Failure Unreadable(const DatabaseReader& database);

#endif  // SERVICE_DATABASE_READER_H_
