#include "photo_database/config.h"

#include <cstring>

#include "base/limits.h"
#include "base/log.h"
#include "base/owned_list.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "photo_database/config_sql.h"
#include "photo_database/connection.h"
#include "photo_database/cursor.h"

namespace {

constexpr const char* kExcludedFormats = "excluding_index_format";
// The full stop among them makes ".tif" and "tif" the same entry.
constexpr const char* kFormatSeparators = " ,.;";

void PushEach(RLIBCSZLIST* list, char* value, const char* separators) {
  char* rest = nullptr;
  for (char* entry = strtok_r(value, separators, &rest); entry != nullptr;
       entry = strtok_r(nullptr, separators, &rest)) {
    RLIBCSzListPush(list, entry);
  }
}

}  // namespace

int PhotoInfoDBConfigGet(const char* key, char* out, size_t size) noexcept {
  const auto condition = Statement::Build(RequestDatabaseType(), kConfigByKey, key);
  if (!condition) return -1;
  Cursor cursor(PHOTO_TABLE_CONFIG, nullptr, condition.get(), nullptr, 0, 1);
  if (!cursor) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return -1;
  }
  if (cursor.count() == 0) return -1;
  // A row that cannot be fetched leaves OUT alone and counts as read.
  if (cursor.Next()) CopyText(out, size, OrEmpty(cursor.Field("config_value")));
  return 0;
}

std::optional<std::string> ConfigValue(const char* key, std::size_t size) {
  std::string value(size, '\0');
  if (PhotoInfoDBConfigGet(key, value.data(), size) == -1) return std::nullopt;
  value.resize(std::strlen(value.c_str()));
  return value;
}

bool ConfigIsOn(const char* key) {
  return ConfigValue(key, kConfigSize) == "on";
}

RLIBCSZLIST* PhotoInfoDBExcludeFormatListGet() noexcept {
  OwnedList list(RLIBCSzListAlloc(kListSize));
  if (list == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "RLIBCSzListAlloc failed");
    return nullptr;
  }
  char value[kPathSize] = {};
  if (PhotoInfoDBConfigGet(kExcludedFormats, value, sizeof value) != -1) {
    PushEach(list.get(), value, kFormatSeparators);
  }
  return list.release();
}
