// One record by its path, and counts.
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "base/log.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"
#include "photo_database/cursor_sql.h"
#include "photo_database/stored_path.h"
#include "platform/text.h"

namespace {

constexpr int kNoLimit = -1;
constexpr int kNoOffset = -1;
// Escaping doubles a byte at most.
constexpr std::size_t kEscapedByte = 2;

// The condition made safe to send; null when it is not one comparison with one literal or memory is out.
std::unique_ptr<char[]> Escaped(const char* condition) {
  std::unique_ptr<char[]> escaped(new (std::nothrow) char[kEscapedByte * std::strlen(condition) + 1]);
  if (escaped == nullptr) return nullptr;
  if (EscapeConditionEX2(RequestDatabaseType(), condition, escaped.get()) < 0) return nullptr;
  return escaped;
}

int CountRows(PHOTO_TABLE_TYPE type, const char* columns, const char* condition, const char* group_by) {
  const Cursor cursor(PhotoInfoDBOpen(type, columns, condition, group_by, nullptr, kNoOffset, kNoLimit));
  return cursor ? cursor.count() : -1;
}

}  // namespace

int PhotoInfoDBGetOneEx(PHOTO_TABLE_TYPE type, const char* path, KAVO_MEDIA_INFO* record,
                        int suffix) noexcept {
  if (path == nullptr || record == nullptr) return -1;
  if (HGAStatusCheck(path) < 0) return -1;
  const auto condition =
      Statement::Build(RequestDatabaseType(), suffix != 0 ? kPathEndsWith : kPathEquals, StoredPath(path));
  if (!condition) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to RLIBCStrGetEx()[0x%04X %s:%d]",
               static_cast<unsigned>(RLIBCErrGet()), RLIBCErrorGetFile(), RLIBCErrorGetLine());
    return -1;
  }
  const Cursor cursor(type, nullptr, condition.get(), nullptr, 0, 0);
  return PhotoInfoDBGet(cursor.get(), record);
}

int PhotoInfoDBGetOne(PHOTO_TABLE_TYPE type, const char* path, KAVO_MEDIA_INFO* record) noexcept {
  return PhotoInfoDBGetOneEx(type, path, record, 0);
}

int PhotoInfoDBGetCount(PHOTO_TABLE_TYPE type, const char* columns, const char* condition,
                        const char* group_by) noexcept {
  if (condition == nullptr) return CountRows(type, columns, nullptr, group_by);
  const auto escaped = Escaped(condition);
  return escaped != nullptr ? CountRows(type, columns, escaped.get(), group_by) : -1;
}
