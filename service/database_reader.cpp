#include "database_reader.h"

#include "platform/files.h"
#include "queries_sql.h"

DatabaseReader::DatabaseReader(const std::string& file) {
  // Opening makes a missing file.
  if (!IsFileExist(file.c_str(), nullptr)) return;
  connection_.reset(KAVODBConnect(nullptr, nullptr, nullptr, file.c_str()));
}

DatabaseReader DatabaseReader::ForReading(const std::string& file) {
  DatabaseReader reader;
  reader.connection_.reset(KAVODBConnectReadOnly(file.c_str()));
  return reader;
}

bool DatabaseReader::IsReadable() {
  return Query({"count"}, kCountTablesSql).has_value();
}

bool DatabaseReader::HasSchema() {
  const auto root = Query({"shareid"}, kRootAlbumSql);
  return root && !root->empty();
}

bool DatabaseReader::Run(const char* sql) {
  return KAVODBExecute(connection_.get(), sql, nullptr) != -1;
}

std::optional<std::vector<DatabaseReader::Row>> DatabaseReader::Rows(const Columns& columns,
                                                                     const Text& sql) {
  KAVODB_RESULT* handle = nullptr;
  if (!sql || KAVODBExecute(connection_.get(), sql.get(), &handle) == -1) return std::nullopt;
  const std::unique_ptr<KAVODB_RESULT, Free> result(handle);
  std::vector<Row> rows;
  for (KAVODB_ROW row = nullptr; KAVODBFetchRow(result.get(), &row) != -1;) {
    Row& values = rows.emplace_back();
    for (const char* column : columns) {
      const char* value = KAVODBFetchField(result.get(), row, column);
      values.push_back(value != nullptr ? std::optional<std::string>(value) : std::nullopt);
    }
  }
  return rows;
}

Failure Unreadable(const DatabaseReader& database) {
  return {ExitStatus::kDatabase, std::string("the database cannot be read: ") + database.error()};
}
