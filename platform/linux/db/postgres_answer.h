// What a PostgreSQL server's answer to a statement says.
#ifndef PLATFORM_LINUX_DB_POSTGRES_ANSWER_H_
#define PLATFORM_LINUX_DB_POSTGRES_ANSWER_H_

#include <memory>
#include <string>
#include <string_view>

#include "db/result_set.h"

struct pg_conn;
struct pg_result;

struct ClearAnswer {
  void operator()(pg_result* answer) const;
};
using PostgresAnswer = std::unique_ptr<pg_result, ClearAnswer>;

// Null, which libpq gives where no answer came, is a failure to those that do not change it. Any thread may
// use them, an answer one at a time.

[[nodiscard]] bool Succeeded(const pg_result* answer);
[[nodiscard]] bool IsCopy(const pg_result* answer);

// The SQLSTATE of a connection that broke, or of a server that stops or starts.
[[nodiscard]] bool IsLossState(std::string_view state);
// The connection is lost, as far as ANSWER and its state tell.
[[nodiscard]] bool ShowsLoss(const pg_conn* connection, const pg_result* answer);

// What others did at the same moment is the reason: no serial order, a deadlock, a lock that was not given.
[[nodiscard]] bool IsConflict(const pg_result* answer);
// Why the server as a whole does not do what it is asked to, where ANSWER tells so; else null.
[[nodiscard]] const char* ServerFailure(const pg_result* answer);
// The statement itself was not taken in this form, or no more: a pooler has given the session to somebody
// else, a table has other columns now, a type cannot be told.
[[nodiscard]] bool IsRefusal(const pg_result* answer);
// A COMMIT of a transaction in which something failed is answered as a success; only the command tag tells
// that nothing was kept.
[[nodiscard]] bool IsBrokenCommit(const char* sql, pg_result* answer);

// For people, never empty.
[[nodiscard]] std::string ErrorOf(const pg_conn* connection, const pg_result* answer);

// The rows of one that succeeded, and how many it changed.
void TakeRows(pg_result* answer, ResultSet& result);

#endif  // PLATFORM_LINUX_DB_POSTGRES_ANSWER_H_
