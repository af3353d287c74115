#include "db/postgres.h"

#include <libpq-fe.h>

#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "db/postgres_text.h"
#include "platform/database.h"

namespace {

using Clock = std::chrono::steady_clock;
using FollowingStatements = PostgresConnection::FollowingStatements;
using std::chrono::milliseconds;

// A statement that lost against others is sent again so often, all in all for so long. What has waited for a
// lock to the end of its patience is over that.
constexpr int kMostRepeats = 6;
constexpr milliseconds kRepeatsEnd{10'000};
constexpr milliseconds kFirstRepeatPause{10};

// A random part of LIMIT, at least half of it: two that were in each other's way do not meet again.
milliseconds RandomPause(milliseconds limit) {
  static thread_local std::minstd_rand random(std::random_device{}());
  return milliseconds(
      std::uniform_int_distribution<milliseconds::rep>(limit.count() / 2, limit.count())(random));
}

// libpq keeps the last of several answers alone, where it is left to itself.
PostgresAnswer AnswerBefore(pg_conn* connection, std::size_t trailing) {
  std::vector<PostgresAnswer> answers;
  while (PGresult* next = PQgetResult(connection)) {
    answers.emplace_back(next);
    // Nothing else comes before the copy is ended; the next statement does that.
    if (IsCopy(next)) break;
  }
  if (answers.empty() || !Succeeded(answers.back().get())) {
    return answers.empty() ? nullptr : std::move(answers.back());
  }
  if (answers.size() > trailing) return std::move(answers[answers.size() - 1 - trailing]);
  return PostgresAnswer(PQmakeEmptyPGresult(connection, PGRES_EMPTY_QUERY));
}

// One message to the server, as a text of several statements is: behind one that fails nothing is run.
void Queue(pg_conn* connection, const PostgresCall& call, FollowingStatements following) {
  const PostgresStatement& statement = *call.statement;
  if (!statement.prepared)
    PQsendPrepare(connection, statement.name.c_str(), std::string(call.text).c_str(), 0, nullptr);
  std::vector<const char*> values;
  for (const std::string& value : call.values) values.push_back(value.c_str());
  PQsendQueryPrepared(connection, statement.name.c_str(), static_cast<int>(values.size()), values.data(),
                      nullptr, nullptr, 0);
  for (const char* next : following)
    PQsendQueryParams(connection, next, 0, nullptr, nullptr, nullptr, nullptr, 0);
  PQpipelineSync(connection);
}

// Those to what was queued, up to the first that failed. None, or too few, where not all could be sent.
std::vector<PostgresAnswer> QueuedAnswers(pg_conn* connection) {
  std::vector<PostgresAnswer> answers;
  // A null stands behind each answer, and two of them behind the last one of a connection that broke.
  for (int nulls = 0; nulls < 2;) {
    PostgresAnswer next(PQgetResult(connection));
    nulls = next == nullptr ? nulls + 1 : 0;
    if (next == nullptr) continue;
    if (PQresultStatus(next.get()) == PGRES_PIPELINE_SYNC) break;
    if (answers.empty() || Succeeded(answers.back().get())) answers.push_back(std::move(next));
  }
  return answers;
}

}  // namespace

std::unique_ptr<PostgresConnection> PostgresConnection::Open(const char* user, const char* password,
                                                             const char* database, std::string& error) {
  std::unique_ptr<PostgresLink> link = PostgresLink::Open(user, password, database, error);
  if (link == nullptr) return nullptr;
  return std::unique_ptr<PostgresConnection>(new PostgresConnection(std::move(link)));
}

int PostgresConnection::type() const {
  return KAVODB_TYPE_POSTGRES;
}

PostgresAnswer PostgresConnection::Send(const char* sql, std::size_t trailing) {
  PostgresAnswer answer;
  if (trailing == 0) {
    answer.reset(PQexec(link_->get(), sql));
  } else if (PQsendQuery(link_->get(), sql) != 0) {
    answer = AnswerBefore(link_->get(), trailing);
  }
  link_->Note(answer.get());
  return answer;
}

PostgresAnswer PostgresConnection::SendKept(const PostgresCall& call, FollowingStatements following) {
  PostgresStatement& statement = *call.statement;
  PQenterPipelineMode(link_->get());
  Queue(link_->get(), call, following);
  std::vector<PostgresAnswer> answers = QueuedAnswers(link_->get());
  PQexitPipelineMode(link_->get());
  const std::size_t place = statement.prepared ? 0 : 1;
  const bool all = answers.size() == place + 1 + following.size() && Succeeded(answers.back().get());
  statement.prepared = statement.prepared || (!answers.empty() && Succeeded(answers.front().get()));
  // Some of it could not even be sent.
  if (answers.empty() || (!all && Succeeded(answers.back().get()))) link_->NoteLoss();
  PostgresAnswer answer;
  if (!answers.empty()) answer = std::move(all ? answers[place] : answers.back());
  link_->Note(answer.get());
  refused_kept_ = !link_->lost() && IsRefusal(answer.get());
  statement.usable = !refused_kept_;
  return answer;
}

bool PostgresConnection::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  return ExecuteWithFollowing(sql, {}, window, result, error);
}

bool PostgresConnection::ExecuteWithFollowing(const char* sql, FollowingStatements following, Window window,
                                              ResultSet& result, std::string& error) {
  std::string text;
  if (window.limit > 0 || window.offset > 0) text = WithLimit(sql, window);
  if (text.empty() && !following.empty()) text = sql;
  for (const char* next : following) text.append("\n;").append(next);
  if (!text.empty()) sql = text.c_str();
  lost_to_others_ = refused_kept_ = false;
  if (!link_->ReconnectIfDead(error)) return false;
  const bool repeatable = !link_->in_transaction() && IsLoneSelect(sql);
  PostgresAnswer answer = SendUndisturbed(sql, following.size());
  if (link_->lost() && repeatable && !Succeeded(answer.get())) {
    if (!link_->Reconnect(error)) return false;
    answer = Send(sql, following.size());
  }
  return Take(answer, sql, result, error);
}

bool PostgresConnection::ExecuteKept(const char* sql, FollowingStatements following, Window window,
                                     ResultSet& result, std::string& error) {
  const bool windowed = window.limit > 0 || window.offset > 0;
  const auto call = link_->statements().Find(windowed ? WithLimit(sql, window) : sql);
  if (!call || !link_->in_transaction()) return ExecuteWithFollowing(sql, following, window, result, error);
  lost_to_others_ = refused_kept_ = false;
  // In a transaction nothing is made anew, and the statement with it.
  if (!link_->ReconnectIfDead(error)) return false;
  return Take(SendKept(*call, following), sql, result, error);
}

// Gives what ANSWER to SQL holds: the rows, or why there are none.
bool PostgresConnection::Take(const PostgresAnswer& answer, const char* sql, ResultSet& result,
                              std::string& error) {
  if (!Succeeded(answer.get())) {
    lost_to_others_ = IsConflict(answer.get());
    if (server_failure_ == nullptr) server_failure_ = ServerFailure(answer.get());
    error = ErrorOf(link_->get(), answer.get());
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
PostgresAnswer PostgresConnection::SendUndisturbed(const char* sql, std::size_t trailing) {
  const bool alone = !link_->in_transaction();
  const Clock::time_point end = Clock::now() + kRepeatsEnd;
  PostgresAnswer answer = Send(sql, trailing);
  milliseconds pause = kFirstRepeatPause;
  for (int i = 0; i < kMostRepeats && alone && !link_->lost() && IsConflict(answer.get()); ++i, pause *= 2) {
    if (link_->in_transaction() || !IsOneTransaction(sql) || Clock::now() + pause > end) break;
    std::this_thread::sleep_for(RandomPause(pause));
    answer = Send(sql, trailing);
  }
  return answer;
}
