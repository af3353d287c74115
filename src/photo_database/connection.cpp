#include "photo_database/connection.h"

#include "base/log.h"
#include "base/shared_database.h"
#include "lumivault/request_context.h"
#include "photo_database/session_sql.h"

KAVODB_CONNECTION* gpPGSQLConnect = nullptr;

namespace {

// A connection without foreign keys is still of use: only links of removed photos and labels would stay
// behind.
KAVODB_CONNECTION* ConnectPersonal() {
  KAVODB_CONNECTION* connection = KAVODBConnect(nullptr, nullptr, nullptr, HGAStatusDBPathGet());
  if (connection != nullptr && KAVODBExecute(connection, kForeignKeysOn, nullptr) == -1) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", kForeignKeysOn, KAVODBErrorGet(connection));
  }
  return connection;
}

}  // namespace

int RequestDatabaseType() {
  return HGAStatusIsHGARequest() ? KAVODB_TYPE_SQLITE : KAVODB_TYPE_POSTGRES;
}

KAVODB_CONNECTION* PhotoDBConnect() noexcept {
  if (HGAStatusIsHGARequest()) return ConnectPersonal();
  if (gpPGSQLConnect == nullptr) {
    gpPGSQLConnect = KAVODBConnect(nullptr, kSharedUser, nullptr, kSharedDatabase);
  }
  return gpPGSQLConnect;
}

void PhotoDBConnClose() noexcept {
  if (gpPGSQLConnect == nullptr) return;
  KAVODBClose(gpPGSQLConnect);
  gpPGSQLConnect = nullptr;
}

RequestConnection::RequestConnection() : owned_(HGAStatusIsHGARequest() != 0), handle_(PhotoDBConnect()) {}

RequestConnection::~RequestConnection() {
  if (handle_ != nullptr && owned_) KAVODBClose(handle_);
}

KAVODB_RESULT** Result::receive() {
  Free();
  return &handle_;
}

void Result::Free() {
  if (handle_ != nullptr) KAVODBFreeResult(handle_);
  handle_ = nullptr;
  row_ = nullptr;
}

bool Execute(const RequestConnection& connection, const char* sql, Result* result) {
  return KAVODBExecute(connection.get(), sql, result != nullptr ? result->receive() : nullptr) != -1;
}
