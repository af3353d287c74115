#include "db/postgres.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "base/ascii.h"
#include "db/postgres_text.h"
#include "platform/database.h"

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
// tell the truth about it. A lock that is not given up becomes a failure after as long as on SQLite.
constexpr const char* kSessionSettings =
    "SET standard_conforming_strings = on; SET lock_timeout = '30s'; SET statement_timeout = ";
// A statement ends soon after the process that asked for it. Servers have that since version 14, on systems
// that can tell.
constexpr const char* kEndWithClient = "SET client_connection_check_interval = '1s'";
constexpr int kEndsWithClient = 140'000;
// A server that has vanished without a word while a statement was on its way, in milliseconds.
constexpr const char* kTcpUserTimeout = "120000";
// A statement that lost against others is sent again so often, all in all for so long. What has waited for a
// lock to the end of its patience is over that.
constexpr int kMostRepeats = 6;
constexpr milliseconds kRepeatsEnd{10'000};
constexpr milliseconds kFirstRepeatPause{10};

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

bool IsCopy(const PGresult* answer) {
  const ExecStatusType status = PQresultStatus(answer);
  return status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH;
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

// What others did at the same moment is the reason: no serial order, a deadlock, a lock that was not given.
bool IsConflict(const PGresult* answer) {
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return false;
  constexpr std::array<std::string_view, 3> kConflicts{"40001", "40P01", "55P03"};
  return std::find(kConflicts.begin(), kConflicts.end(), state) != kConflicts.end();
}

// Why the server as a whole does not do what it is asked to, where ANSWER tells so; else null.
const char* ServerFailure(const PGresult* answer) {
  struct Failure {
    std::string_view state;  // or its class
    const char* why;
  };
  constexpr std::array<Failure, 7> kFailures{{{"25006", "the server only reads"},
                                              {"53100", "the server's disk is full"},
                                              {"53200", "the server is out of memory"},
                                              {"53", "the server has no resources left"},
                                              {"58", "the server cannot use its files"},
                                              {"XX001", "the server's files are damaged"},
                                              {"XX002", "the server's files are damaged"}}};
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return nullptr;
  const auto* found = std::find_if(kFailures.begin(), kFailures.end(), [&](const Failure& failure) {
    return std::string_view(state).starts_with(failure.state);
  });
  return found != kFailures.end() ? found->why : nullptr;
}

// The statement itself was not taken in this form, or no more: a pooler has given the session to somebody
// else, a table has other columns now, a type cannot be told.
bool IsRefusal(const PGresult* answer) {
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return false;
  constexpr std::array<std::string_view, 3> kClasses{"0A", "26", "42"};
  return std::find(kClasses.begin(), kClasses.end(), std::string_view(state).substr(0, 2)) != kClasses.end();
}

// A random part of LIMIT, at least half of it: two that were in each other's way do not meet again.
milliseconds Jittered(milliseconds limit) {
  static thread_local std::minstd_rand random(std::random_device{}());
  return milliseconds(
      std::uniform_int_distribution<milliseconds::rep>(limit.count() / 2, limit.count())(random));
}

// A COMMIT of a transaction in which something failed is answered as a success; only the command tag tells
// that nothing was kept.
bool IsBrokenCommit(const char* sql, PGresult* answer) {
  return (BeginsWith(sql, "COMMIT") || BeginsWith(sql, "END")) &&
         std::strcmp(PQcmdStatus(answer), "ROLLBACK") == 0;
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
  const std::string settings = kSessionSettings + std::to_string(milliseconds(kStatementBound).count());
  if (!Succeeded(Send(settings.c_str()).get())) return false;
  if (PQserverVersion(connection_.get()) >= kEndsWithClient) static_cast<void>(Send(kEndWithClient));
  return PQstatus(connection_.get()) == CONNECTION_OK;
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

// libpq keeps the last of several answers alone, where it is left to itself.
PostgresConnection::Answer PostgresConnection::AnswerBefore(std::size_t trailing) {
  std::vector<Answer> answers;
  while (PGresult* next = PQgetResult(connection_.get())) {
    answers.emplace_back(next);
    // Nothing else comes before the copy is ended; the next statement does that.
    if (IsCopy(next)) break;
  }
  if (answers.empty() || !Succeeded(answers.back().get())) {
    return answers.empty() ? nullptr : std::move(answers.back());
  }
  if (answers.size() > trailing) return std::move(answers[answers.size() - 1 - trailing]);
  return Answer(PQmakeEmptyPGresult(connection_.get(), PGRES_EMPTY_QUERY));
}

PostgresConnection::Answer PostgresConnection::Send(const char* sql, std::size_t trailing) {
  Answer answer;
  if (trailing == 0) {
    answer.reset(PQexec(connection_.get(), sql));
  } else if (PQsendQuery(connection_.get(), sql) != 0) {
    answer = AnswerBefore(trailing);
  }
  NoteState(answer.get());
  return answer;
}

void PostgresConnection::NoteState(const pg_result* answer) {
  lost_ = lost_ || ShowsLoss(connection_.get(), answer);
  const PGTransactionStatusType state = PQtransactionStatus(connection_.get());
  // A loss that has been reported ends the transaction; one that is only known of will be reported.
  in_transaction_ = (Succeeded(answer) || !lost_) && (state == PQTRANS_INTRANS || state == PQTRANS_INERROR);
}

// One message to the server, as a text of several statements is: behind one that fails nothing is run.
void PostgresConnection::Queue(const PostgresCall& call, Sequel sequel) {
  pg_conn* connection = connection_.get();
  const PostgresStatement& statement = *call.statement;
  if (!statement.prepared)
    PQsendPrepare(connection, statement.name.c_str(), std::string(call.text).c_str(), 0, nullptr);
  std::vector<const char*> values;
  for (const std::string& value : call.values) values.push_back(value.c_str());
  PQsendQueryPrepared(connection, statement.name.c_str(), static_cast<int>(values.size()), values.data(),
                      nullptr, nullptr, 0);
  for (const char* next : sequel)
    PQsendQueryParams(connection, next, 0, nullptr, nullptr, nullptr, nullptr, 0);
  PQpipelineSync(connection);
}

// Those to what was queued, up to the first that failed. None, or too few, where not all could be sent.
std::vector<PostgresConnection::Answer> PostgresConnection::QueuedAnswers() {
  std::vector<Answer> answers;
  // A null stands behind each answer, and two of them behind the last one of a connection that broke.
  for (int nulls = 0; nulls < 2;) {
    Answer next(PQgetResult(connection_.get()));
    nulls = next == nullptr ? nulls + 1 : 0;
    if (next == nullptr) continue;
    if (PQresultStatus(next.get()) == PGRES_PIPELINE_SYNC) break;
    if (answers.empty() || Succeeded(answers.back().get())) answers.push_back(std::move(next));
  }
  return answers;
}

PostgresConnection::Answer PostgresConnection::SendKept(const PostgresCall& call, Sequel sequel) {
  PostgresStatement& statement = *call.statement;
  PQenterPipelineMode(connection_.get());
  Queue(call, sequel);
  std::vector<Answer> answers = QueuedAnswers();
  PQexitPipelineMode(connection_.get());
  const std::size_t place = statement.prepared ? 0 : 1;
  const bool all = answers.size() == place + 1 + sequel.size() && Succeeded(answers.back().get());
  statement.prepared = statement.prepared || (!answers.empty() && Succeeded(answers.front().get()));
  // Some of it could not even be sent.
  lost_ = lost_ || answers.empty() || (!all && Succeeded(answers.back().get()));
  Answer answer;
  if (!answers.empty()) answer = std::move(all ? answers[place] : answers.back());
  NoteState(answer.get());
  refused_kept_ = !lost_ && IsRefusal(answer.get());
  statement.usable = !refused_kept_;
  return answer;
}

bool PostgresConnection::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  return ExecuteThen(sql, {}, window, result, error);
}

bool PostgresConnection::ExecuteThen(const char* sql, Sequel sequel, Window window, ResultSet& result,
                                     std::string& error) {
  std::string text;
  if (window.limit > 0 || window.offset > 0) text = WithWindow(sql, window);
  if (text.empty() && !sequel.empty()) text = sql;
  for (const char* next : sequel) text.append("\n;").append(next);
  if (!text.empty()) sql = text.c_str();
  lost_to_others_ = refused_kept_ = false;
  if (!Heal(error)) return false;
  const bool repeatable = !in_transaction_ && IsLoneSelect(sql);
  Answer answer = SendUndisturbed(sql, sequel.size());
  if (lost_ && repeatable && !Succeeded(answer.get())) {
    if (!Revive(error)) return false;
    answer = Send(sql, sequel.size());
  }
  return Take(answer, sql, result, error);
}

bool PostgresConnection::ExecuteKept(const char* sql, Sequel sequel, Window window, ResultSet& result,
                                     std::string& error) {
  const bool windowed = window.limit > 0 || window.offset > 0;
  const auto call = statements_.Find(windowed ? WithWindow(sql, window) : sql);
  if (!call || !in_transaction_) return ExecuteThen(sql, sequel, window, result, error);
  lost_to_others_ = refused_kept_ = false;
  // In a transaction nothing is made anew, and the statement with it.
  if (!Heal(error)) return false;
  return Take(SendKept(*call, sequel), sql, result, error);
}

// Gives what ANSWER to SQL holds: the rows, or why there are none.
bool PostgresConnection::Take(const Answer& answer, const char* sql, ResultSet& result, std::string& error) {
  if (!Succeeded(answer.get())) {
    lost_to_others_ = IsConflict(answer.get());
    if (server_failure_ == nullptr) server_failure_ = ServerFailure(answer.get());
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

// A text that is a transaction of its own and failed by a conflict was undone as a whole, so it may be sent
// again. Inside a transaction what came before it is undone too, and its owner has to begin anew.
PostgresConnection::Answer PostgresConnection::SendUndisturbed(const char* sql, std::size_t trailing) {
  const bool alone = !in_transaction_;
  const Clock::time_point end = Clock::now() + kRepeatsEnd;
  Answer answer = Send(sql, trailing);
  milliseconds pause = kFirstRepeatPause;
  for (int i = 0; i < kMostRepeats && alone && !lost_ && IsConflict(answer.get()); ++i, pause *= 2) {
    if (in_transaction_ || !IsOneTransaction(sql) || Clock::now() + pause > end) break;
    std::this_thread::sleep_for(Jittered(pause));
    answer = Send(sql, trailing);
  }
  return answer;
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
  for (milliseconds pause = kFirstPause;; pause = std::min(pause * 2, kLongestPause)) {
    PQreset(connection_.get());
    statements_.Clear();
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
