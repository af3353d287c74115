#include "db/postgres.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

#include "core/ascii.h"
#include "platform/database.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kConnectTimeoutSeconds = "10";
// A restart of the server takes well under a second; so long a statement waits for it.
constexpr milliseconds kPatience{3'000};
constexpr milliseconds kFirstPause{100};
// A longer outage is met with few attempts, and with quick answers to the callers in between.
constexpr milliseconds kOutagePause{5'000};

// With the first one off a backslash in a value could end its literal, and poolers and proxies do not always
// tell the truth about it. A lock that is not given up becomes a failure after as long as on SQLite.
constexpr const char* kSessionSettings = "SET standard_conforming_strings = on; SET lock_timeout = '30s'";
// A server that has vanished without a word while a statement was on its way, in milliseconds.
constexpr const char* kTcpUserTimeout = "120000";

bool Succeeded(const PGresult* answer) {
  switch (PQresultStatus(answer)) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
    case PGRES_EMPTY_QUERY:
      return true;
    default:
      return false;
  }
}

// Class 08 is a broken connection, 57P01 to 57P03 a server that stops or starts.
bool IsLossState(std::string_view state) {
  return state.substr(0, 2) == "08" || state == "57P01" || state == "57P02" || state == "57P03";
}

// PQstatus alone does not tell: after a crash of the server it stays good for the first statement, whose
// failure then has no SQLSTATE.
bool ShowsLoss(const PGconn* connection, const PGresult* answer) {
  if (PQstatus(connection) == CONNECTION_BAD) return true;
  if (answer == nullptr || PQresultStatus(answer) != PGRES_FATAL_ERROR) return false;
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  return state == nullptr || IsLossState(state);
}

// A COMMIT of a transaction in which something failed is answered as a success; only the command tag tells
// that nothing was kept.
bool IsBrokenCommit(const char* sql, PGresult* answer) {
  const std::string_view word = FirstWord(TrimLeft(sql));
  return (EqualsIgnoreAsciiCase(word, "COMMIT") || EqualsIgnoreAsciiCase(word, "END")) &&
         std::strcmp(PQcmdStatus(answer), "ROLLBACK") == 0;
}

// The parts of SQL that stand outside its literals, a blank in the place of each.
std::string WithoutLiterals(std::string_view sql) {
  std::string outside;
  for (bool in_literal = false; !sql.empty(); in_literal = !in_literal) {
    const std::string_view part = sql.substr(0, sql.find('\''));
    if (!in_literal) outside.append(part).append(" ");
    sql.remove_prefix(std::min(part.size() + 1, sql.size()));
  }
  return outside;
}

bool HasWord(std::string_view text, std::string_view word) {
  while (!text.empty()) {
    const std::string_view first = FirstWord(text);
    if (EqualsIgnoreAsciiCase(first, word)) return true;
    text.remove_prefix(std::max<std::size_t>(first.size(), 1));
  }
  return false;
}

// One SELECT that only reads, and nothing behind it. What could hide more from so simple a look (quoted
// names, comments, other kinds of literals) counts as more.
bool IsLoneSelect(std::string_view sql) {
  sql = TrimRight(sql);
  if (!sql.empty() && sql.back() == ';') sql.remove_suffix(1);
  const std::string outside = WithoutLiterals(sql);
  for (const std::string_view hidden : {";", "\"", "--", "/*", "$"}) {
    if (outside.find(hidden) != std::string::npos) return false;
  }
  return EqualsIgnoreAsciiCase(FirstWord(TrimLeft(outside)), "SELECT") && !HasWord(outside, "INTO");
}

// SQL with the clauses of WINDOW; on a line of their own, so that a comment at the end does not swallow them.
std::string WithWindow(std::string_view sql, Window window) {
  sql = TrimRight(sql);
  while (!sql.empty() && (sql.back() == ';' || IsBlank(sql.back()))) sql.remove_suffix(1);
  std::string text(sql);
  if (window.limit > 0) text += "\nLIMIT " + std::to_string(window.limit);
  if (window.offset > 0) text += "\nOFFSET " + std::to_string(window.offset);
  return text;
}

// The server counts the rows of a SELECT the same way; those were not changed.
int ChangedRows(PGresult* answer) {
  const std::string_view tag = FirstWord(PQcmdStatus(answer));
  if (tag != "INSERT" && tag != "UPDATE" && tag != "DELETE" && tag != "MERGE") return 0;
  return static_cast<int>(std::strtol(PQcmdTuples(answer), nullptr, 10));
}

void TakeRows(PGresult* answer, ResultSet& result) {
  const int columns = PQnfields(answer);
  const int rows = PQntuples(answer);
  for (int column = 0; column < columns; ++column) result.AddColumn(PQfname(answer, column));
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      if (PQgetisnull(answer, row, column) != 0) {
        result.AddNull();
      } else {
        const auto length = static_cast<std::size_t>(PQgetlength(answer, row, column));
        result.AddText({PQgetvalue(answer, row, column), length});
      }
    }
  }
  result.set_affected(ChangedRows(answer));
}

}  // namespace

void PostgresConnection::Finish::operator()(pg_conn* connection) const {
  PQfinish(connection);
}
void PostgresConnection::Clear::operator()(pg_result* answer) const {
  PQclear(answer);
}

std::unique_ptr<PostgresConnection> PostgresConnection::Open(const char* user, const char* password,
                                                             const char* database, std::string& error) {
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
  std::unique_ptr<PostgresConnection> connection(new PostgresConnection(std::move(made)));
  if (connection->Connected()) return connection;
  error = PQerrorMessage(connection->connection_.get());
  return nullptr;
}

bool PostgresConnection::Connected() {
  return PQstatus(connection_.get()) == CONNECTION_OK && SetUpSession();
}

// What every session needs, a renewed one as the first.
bool PostgresConnection::SetUpSession() {
  PQsetNoticeReceiver(connection_.get(), HearNotice, this);
  PQsetErrorVerbosity(connection_.get(), PQERRORS_TERSE);
  return Succeeded(Send(kSessionSettings).get());
}

// A server that ends the session says so before the connection closes. Other notices concern nobody; without
// a receiver they would appear on the standard error of the process.
void PostgresConnection::HearNotice(void* self, const pg_result* notice) {
  const char* state = PQresultErrorField(notice, PG_DIAG_SQLSTATE);
  if (state != nullptr && IsLossState(state)) static_cast<PostgresConnection*>(self)->lost_ = true;
}

int PostgresConnection::type() const {
  return KAVODB_TYPE_POSTGRES;
}

PostgresConnection::Answer PostgresConnection::Send(const char* sql) {
  Answer answer(PQexec(connection_.get(), sql));
  lost_ = lost_ || ShowsLoss(connection_.get(), answer.get());
  const PGTransactionStatusType state = PQtransactionStatus(connection_.get());
  // A loss that has been reported ends the transaction; one that is only known of will be reported.
  in_transaction_ =
      (Succeeded(answer.get()) || !lost_) && (state == PQTRANS_INTRANS || state == PQTRANS_INERROR);
  return answer;
}

bool PostgresConnection::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  std::string windowed;
  if (window.limit > 0 || window.offset > 0) {
    windowed = WithWindow(sql, window);
    sql = windowed.c_str();
  }
  if (!Heal(error)) return false;
  const bool repeatable = !in_transaction_ && IsLoneSelect(sql);
  Answer answer = Send(sql);
  if (lost_ && repeatable && !Succeeded(answer.get())) {
    if (!Revive(error)) return false;
    answer = Send(sql);
  }
  if (!Succeeded(answer.get())) {
    error = ErrorOf(answer.get());
    return false;
  }
  if (IsBrokenCommit(sql, answer.get())) {
    error = "The transaction was rolled back.";
    return false;
  }
  TakeRows(answer.get(), result);
  return true;
}

std::string PostgresConnection::ErrorOf(const pg_result* answer) const {
  std::string text = PQresultErrorMessage(answer);
  if (text.empty()) text = PQerrorMessage(connection_.get());
  return text.empty() ? "The server's answer was not understood." : text;
}

// Reads what the server may have said since the last statement: its farewell, or the end of the stream.
bool PostgresConnection::IsDead() {
  if (lost_ || PQstatus(connection_.get()) == CONNECTION_BAD) return true;
  pollfd readable = {PQsocket(connection_.get()), POLLIN, 0};
  while (poll(&readable, 1, 0) > 0) {
    if (PQconsumeInput(connection_.get()) == 0) return true;
    // Takes what has been read apart, so that notices are heard.
    if (PQisBusy(connection_.get()) != 0 || lost_) return true;
  }
  return false;
}

// True when a statement can be sent.
bool PostgresConnection::Heal(std::string& error) {
  if (!IsDead()) return true;
  lost_ = true;
  if (std::exchange(in_transaction_, false)) {
    error = "The connection was lost inside a transaction.";
    return false;
  }
  return Revive(error);
}

// Makes the lost connection anew. The first call of an outage waits a little for the server; later ones try
// at most once a pause and wait for nothing.
bool PostgresConnection::Revive(std::string& error) {
  if (outage_ && Clock::now() < next_attempt_) {
    error = "The server cannot be reached.";
    return false;
  }
  const Clock::time_point patience_ends = Clock::now() + (outage_ ? milliseconds(0) : kPatience);
  for (milliseconds pause = kFirstPause;; pause *= 2) {
    PQreset(connection_.get());
    if (Connected()) {
      lost_ = outage_ = false;
      return true;
    }
    if (Clock::now() + pause > patience_ends) break;
    std::this_thread::sleep_for(pause);
  }
  outage_ = true;
  next_attempt_ = Clock::now() + kOutagePause;
  error = PQerrorMessage(connection_.get());
  return false;
}
