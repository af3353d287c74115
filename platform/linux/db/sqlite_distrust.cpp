#include "db/sqlite_distrust.h"

#include <array>
#include <cstddef>

namespace {

struct Limit {
  int what;
  int most;
};
constexpr int kKiB = 1 << 10;
constexpr int kMiB = 1 << 20;
// A file's metadata may be 16 MiB, and have letters that double when they are made UTF-8.
constexpr std::array kLimits{Limit{SQLITE_LIMIT_LENGTH, 64 * kMiB}};
constexpr std::array kSchemaLimits{Limit{SQLITE_LIMIT_LENGTH, 256 * kKiB},
                                   Limit{SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 100}};

// ATTACH would open what no check has seen. The internal one of a VACUUM names no file.
int RefuseAttach(void* /*unused*/, int action, const char* file, const char* /*unused*/,
                 const char* /*unused*/, const char* /*unused*/) {
  return action == SQLITE_ATTACH && (file == nullptr || *file != '\0') ? SQLITE_DENY : SQLITE_OK;
}

}  // namespace

void DistrustFile(sqlite3* database) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_drop_modules(database, nullptr);
  for (const Limit& limit : kLimits) sqlite3_limit(database, limit.what, limit.most);
  sqlite3_set_authorizer(database, &RefuseAttach, nullptr);
}

SchemaBounds::SchemaBounds(sqlite3* database) : database_(database), before_{} {
  static_assert(std::tuple_size_v<decltype(before_)> == kSchemaLimits.size());
  for (std::size_t i = 0; i < before_.size(); ++i)
    before_[i] = sqlite3_limit(database_, kSchemaLimits[i].what, kSchemaLimits[i].most);
}

SchemaBounds::~SchemaBounds() {
  for (std::size_t i = 0; i < before_.size(); ++i)
    sqlite3_limit(database_, kSchemaLimits[i].what, before_[i]);
}
