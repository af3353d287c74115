#ifndef SERVICE_DATABASE_FILE_ROW_H_
#define SERVICE_DATABASE_FILE_ROW_H_

#include <optional>
#include <string>

#include "common/item_kind.h"
#include "database/database_reader.h"

// DATABASE has a row of the photo or video with this KEY. Nothing when it cannot be asked.
std::optional<bool> HasFileRow(DatabaseReader& database, ItemKind kind, const std::string& key);

#endif  // SERVICE_DATABASE_FILE_ROW_H_
