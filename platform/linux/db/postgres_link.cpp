#include "db/postgres_link.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <thread>

#include "db/engine.h"
#include "db/postgres_answer.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kConnectTimeoutSeconds = "10";
// So long a statement waits for a server that restarts. That takes well under a second, but on a small or
// busy machine the repair after a crash takes several.
constexpr milliseconds kPatience{10'000};
constexpr milliseconds kFirstPause{100};
constexpr milliseconds kLongestPause{1'000};
// A longer outage is met with few attempts, and with quick answers to the callers in between.
constexpr milliseconds kOutagePause{5'000};

// With the first one off a backslash in a value could end its literal, and poolers and proxies do not always
// tell the truth about it.
constexpr const char* kSessionSettings = "SET standard_conforming_strings = on; SET lock_timeout = ";
constexpr const char* kStatementSetting = "; SET statement_timeout = ";
// A statement ends soon after the process that asked for it. Servers have that since version 14, on systems
// that can tell.
constexpr const char* kEndWithClient = "SET client_connection_check_interval = '1s'";
constexpr int kEndsWithClient = 140'000;
// A server that has vanished without a word while a statement was on its way, in milliseconds.
constexpr const char* kTcpUserTimeout = "120000";

}  // namespace

void PostgresLink::Finish::operator()(pg_conn* connection) const {
  PQfinish(connection);
}

std::unique_ptr<PostgresLink> PostgresLink::Open(const char* user, const char* password, const char* database,
                                                 std::string& error) {
  // A null value leaves the setting to the environment.
  const char* timeout = std::getenv("PGCONNECT_TIMEOUT") == nullptr ? kConnectTimeoutSeconds : nullptr;
  constexpr std::array kKeywords = {"user",
                                    "password",
                                    "dbname",
                                    "connect_timeout",
                                    "client_encoding",
                                    "keepalives_idle",
                                    "keepalives_interval",
                                    "keepalives_count",
                                    "tcp_user_timeout",
                                    static_cast<const char*>(nullptr)};
  const std::array values = {user, password, database, timeout,         "UTF8",
                             "60", "10",     "6",      kTcpUserTimeout, static_cast<const char*>(nullptr)};
  Connection made(PQconnectdbParams(kKeywords.data(), values.data(), 0));
  if (made == nullptr) throw std::bad_alloc();
  std::unique_ptr<PostgresLink> link(new PostgresLink(std::move(made)));
  if (link->Connected()) return link;
  error = PQerrorMessage(link->get());
  return nullptr;
}

bool PostgresLink::Connected() {
  return PQstatus(connection_.get()) == CONNECTION_OK && SetUpSession();
}

// What every session needs, a renewed one as the first.
bool PostgresLink::SetUpSession() {
  PQsetNoticeReceiver(connection_.get(), HearNotice, this);
  PQsetErrorVerbosity(connection_.get(), PQERRORS_TERSE);
  const std::string settings = kSessionSettings + std::to_string(milliseconds(kLockPatience).count()) +
                               kStatementSetting + std::to_string(milliseconds(kStatementBound).count());
  if (!Set(settings.c_str())) return false;
  if (PQserverVersion(connection_.get()) >= kEndsWithClient) static_cast<void>(Set(kEndWithClient));
  return PQstatus(connection_.get()) == CONNECTION_OK;
}

bool PostgresLink::Set(const char* settings) {
  const PostgresAnswer answer(PQexec(connection_.get(), settings));
  Note(answer.get());
  return Succeeded(answer.get());
}

// A server that ends the session says so before the connection closes. Other notices concern nobody; without
// a receiver they would appear on the standard error of the process.
void PostgresLink::HearNotice(void* self, const pg_result* notice) {
  const char* state = PQresultErrorField(notice, PG_DIAG_SQLSTATE);
  if (state != nullptr && IsLossState(state)) static_cast<PostgresLink*>(self)->lost_ = true;
}

void PostgresLink::Note(const pg_result* answer) {
  lost_ = lost_ || ShowsLoss(connection_.get(), answer);
  const PGTransactionStatusType state = PQtransactionStatus(connection_.get());
  // A loss that has been reported ends the transaction; one that is only known of will be reported.
  in_transaction_ = (Succeeded(answer) || !lost_) && (state == PQTRANS_INTRANS || state == PQTRANS_INERROR);
}

// Reads what the server may have said since the last statement: its farewell, or the end of the stream.
bool PostgresLink::IsDead() {
  if (lost_ || PQstatus(connection_.get()) == CONNECTION_BAD) return true;
  pollfd readable = {PQsocket(connection_.get()), POLLIN, 0};
  while (poll(&readable, 1, 0) > 0) {
    if (PQconsumeInput(connection_.get()) == 0) return true;
    // Takes what has been read apart, so that notices are heard.
    if (PQisBusy(connection_.get()) != 0 || lost_) return true;
  }
  return false;
}

bool PostgresLink::ReconnectIfDead(std::string& error) {
  if (!IsDead()) return true;
  lost_ = true;
  if (std::exchange(in_transaction_, false)) {
    error = "The connection was lost inside a transaction.";
    return false;
  }
  return Reconnect(error);
}

bool PostgresLink::Reconnect(std::string& error) {
  if (is_server_unreachable_ && Clock::now() < next_attempt_) {
    error = "The server cannot be reached.";
    return false;
  }
  const Clock::time_point patience_ends =
      Clock::now() + (is_server_unreachable_ ? milliseconds(0) : kPatience);
  for (milliseconds pause = kFirstPause;; pause = std::min(pause * 2, kLongestPause)) {
    PQreset(connection_.get());
    statements_.Clear();
    if (Connected()) {
      lost_ = is_server_unreachable_ = false;
      return true;
    }
    if (Clock::now() + pause > patience_ends) break;
    std::this_thread::sleep_for(pause);
  }
  is_server_unreachable_ = true;
  next_attempt_ = Clock::now() + kOutagePause;
  error = PQerrorMessage(connection_.get());
  return false;
}
