// Queries over one logical table.
#include "photo_database/cursor.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "base/export_guard.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/request_context.h"
#include "photo_database/cursor_sql.h"

namespace {

// What a statement may add to its condition; a longer one is cut.
constexpr std::size_t kSelectRoom = 512;

// The handler as it is allocated. Whether it owns its connection is noted when it is opened: another path may
// have been checked before it is closed.
struct OpenCursor : MEDIA_DB_HANDLER {
  OpenCursor() : MEDIA_DB_HANDLER{}, owns_connection(HGAStatusIsHGARequest() != 0) {}
  ~OpenCursor() {
    if (result != nullptr) KAVODBFreeResult(result);
    if (connection != nullptr && owns_connection) KAVODBClose(connection);
  }
  OpenCursor(const OpenCursor&) = delete;
  OpenCursor& operator=(const OpenCursor&) = delete;

  const bool owns_connection;
};

struct Query {
  PHOTO_TABLE_TYPE type;
  const char* columns;
  const char* condition;
  const char* group_by;
  const char* order_by;
};

std::string Clause(const char* keyword, const char* text) {
  return OrEmpty(text)[0] == '\0' ? std::string() : std::string(keyword).append(text);
}

// The text of the SELECT; null when memory is out.
std::unique_ptr<char[]> SelectText(const Query& query) {
  const char* condition = OrEmpty(query.condition);
  const std::size_t size = std::strlen(condition) + kSelectRoom;
  std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
  if (text == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to malloc(%d)", static_cast<int>(size));
    return nullptr;
  }
  const std::string group_by = Clause("GROUP BY ", query.group_by);
  const std::string order_by = Clause("ORDER BY ", query.order_by);
  // WHERE goes with the pointer: an empty condition is a mistake of the caller that the engine reports.
  std::snprintf(text.get(), size, HGAStatusIsHGARequest() ? kSelectPersonal : kSelect,
                query.columns != nullptr ? query.columns : "*", PhotoMapping::GetValue(query.type),
                query.condition != nullptr ? "WHERE" : "", condition, group_by.c_str(), order_by.c_str());
  return text;
}

bool RunSelect(OpenCursor& cursor, const Query& query, int offset, int limit) {
  const auto sql = SelectText(query);
  if (sql == nullptr) return false;
  if (KAVODBSelectLimit(cursor.connection, sql.get(), limit, offset, &cursor.result) == -1) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", sql.get(),
               KAVODBErrorGet(cursor.connection));
    return false;
  }
  cursor.count = KAVODBNumRows(cursor.result);
  cursor.type = query.type;
  return true;
}

MEDIA_DB_HANDLER* Open(const Query& query, int offset, int limit) {
  std::unique_ptr<OpenCursor> cursor(new (std::nothrow) OpenCursor);
  if (cursor == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to malloc");
    return nullptr;
  }
  cursor->connection = PhotoDBConnect();
  if (cursor->connection == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to database");
    return nullptr;
  }
  return RunSelect(*cursor, query, offset, limit) ? cursor.release() : nullptr;
}

}  // namespace

MEDIA_DB_HANDLER* PhotoInfoDBOpen(PHOTO_TABLE_TYPE type, const char* columns, const char* condition,
                                  const char* group_by, const char* order_by, int offset,
                                  int limit) noexcept {
  return Guarded<MEDIA_DB_HANDLER*>(kPhotoDatabaseSource, nullptr, [&] {
    return Open({type, columns, condition, group_by, order_by}, offset, limit);
  });
}

void PhotoInfoDBClose(MEDIA_DB_HANDLER* handler) noexcept {
  const std::unique_ptr<OpenCursor> ended(static_cast<OpenCursor*>(handler));
}
