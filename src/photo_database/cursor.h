#ifndef PHOTO_DATABASE_CURSOR_H_
#define PHOTO_DATABASE_CURSOR_H_

#include "lumivault/photo_database.h"
#include "platform/database.h"

// An open query for the life of a block; closed at its end. Used by the thread of the request.
class Cursor {
 public:
  // Takes over what PhotoInfoDBOpen returned.
  explicit Cursor(MEDIA_DB_HANDLER* handler) : handler_(handler) {}
  // Arguments as of PhotoInfoDBOpen; CONDITION must be escaped.
  Cursor(PHOTO_TABLE_TYPE type, const char* columns, const char* condition, const char* order_by, int offset,
         int limit)
      : handler_(PhotoInfoDBOpen(type, columns, condition, nullptr, order_by, offset, limit)) {}
  ~Cursor() { PhotoInfoDBClose(handler_); }
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  // False when the query could not be made.
  explicit operator bool() const { return handler_ != nullptr; }
  MEDIA_DB_HANDLER* get() const { return handler_; }
  int count() const { return handler_->count; }

  // Moves to the next row; false when none is left.
  [[nodiscard]] bool Next() { return KAVODBFetchRow(handler_->result, &handler_->row) != -1; }
  // The current row's value; null for SQL NULL or an unknown column.
  const char* Field(const char* column) const {
    return KAVODBFetchField(handler_->result, handler_->row, column);
  }

  // Runs SQL on the query's own connection; false on failure, whose text error() then tells.
  [[nodiscard]] bool Execute(const char* sql) const {
    return KAVODBExecute(handler_->connection, sql, nullptr) != -1;
  }
  const char* error() const { return KAVODBErrorGet(handler_->connection); }

 private:
  MEDIA_DB_HANDLER* handler_;
};

#endif  // PHOTO_DATABASE_CURSOR_H_
