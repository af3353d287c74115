// Connections, results and statement texts as objects: each frees what it holds, so that no other place of
// the plug-in calls a close or a free.
#ifndef PHOTO_DATABASE_CONNECTION_H_
#define PHOTO_DATABASE_CONNECTION_H_

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "lumivault/photo_database.h"
#include "platform/database.h"

// The database type of the request (0 personal, 1 shared), for statements that are built before a connection
// exists.
int RequestDatabaseType();

// The connection of the request for the life of one operation: a personal one is closed at the end, the
// shared one stays. Used by the thread of the request, like the results made from it.
class RequestConnection {
 public:
  RequestConnection();
  ~RequestConnection();
  RequestConnection(const RequestConnection&) = delete;
  RequestConnection& operator=(const RequestConnection&) = delete;

  explicit operator bool() const { return handle_ != nullptr; }
  KAVODB_CONNECTION* get() const { return handle_; }
  int type() const { return KAVODBDatabaseTypeGet(handle_); }
  const char* error() const { return KAVODBErrorGet(handle_); }

 private:
  // Noted at the start: what an operation calls may check another path on the way.
  bool owned_;
  KAVODB_CONNECTION* handle_;
};

// A statement or condition text made from a template; empty (false) when it could not be built.
class Statement {
 public:
  Statement() = default;

  // Text arguments are const char*, @KAVO:INT takes int and @KAVO:LLINT int64_t: each goes through the
  // variadic call with exactly the width that the builder reads.
  template <typename... Values>
  static Statement Build(int database_type, const char* sql_template, Values... values) {
    return Statement(KAVODBEscapeStringEX3(database_type, sql_template, AsVariadic(values)...));
  }

  explicit operator bool() const { return text_ != nullptr; }
  const char* get() const { return text_.get(); }

 private:
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };

  explicit Statement(char* text) : text_(text) {}

  static const char* AsVariadic(const char* text) { return text; }
  static int AsVariadic(int number) { return number; }
  static long long AsVariadic(std::int64_t number) { return number; }

  std::unique_ptr<char, Free> text_;
};

// The result of one statement.
class Result {
 public:
  Result() = default;
  ~Result() { Free(); }
  Result(const Result&) = delete;
  Result& operator=(const Result&) = delete;

  // Where KAVODBExecute and KAVODBSelectLimit put a result; what was held before is freed.
  KAVODB_RESULT** receive();
  KAVODB_RESULT* get() const { return handle_; }

  // Moves to the next row; false when none is left.
  [[nodiscard]] bool Next() { return KAVODBFetchRow(handle_, &row_) != -1; }
  // The current row's value; null for SQL NULL or an unknown column.
  const char* Field(const char* column) const { return KAVODBFetchField(handle_, row_, column); }

 private:
  void Free();

  KAVODB_RESULT* handle_ = nullptr;
  KAVODB_ROW row_ = nullptr;
};

// Runs SQL; false on failure, whose text the connection then tells. The caller logs it, in its own form and
// with its own line.
[[nodiscard]] bool Execute(const RequestConnection& connection, const char* sql, Result* result = nullptr);

#endif  // PHOTO_DATABASE_CONNECTION_H_
