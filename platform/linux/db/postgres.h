// One connection to a PostgreSQL server, which may go away and come back.
#ifndef PLATFORM_LINUX_DB_POSTGRES_H_
#define PLATFORM_LINUX_DB_POSTGRES_H_

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "db/engine.h"
#include "db/postgres_statements.h"

struct pg_conn;
struct pg_result;

// A lost connection is noticed before a statement is sent and made anew. A SELECT of its own that dies on the
// way is sent once more; whether a write that died has happened nobody can tell, so it is reported as failed
// and never sent twice. Inside a transaction nothing is repaired silently: the statement fails, and the
// connection is made anew for the next.
//
// A statement outside a transaction that the server undid because of what others did at the same moment
// (SQLSTATE 40001, 40P01, 55P03) is sent again a few times within ten seconds, after pauses of random length.
class PostgresConnection : public DatabaseEngine {
 public:
  // Through libpq and its usual environment; PASSWORD may be null. Null when there is no connection; ERROR
  // then has the reason.
  [[nodiscard]] static std::unique_ptr<PostgresConnection> Open(const char* user, const char* password,
                                                                const char* database, std::string& error);

  [[nodiscard]] int type() const override;
  // The statements of one text are one transaction, so a failure leaves none of their effects.
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

  // Statements that give no rows and are sent together with others, behind them.
  using Sequel = std::span<const char* const>;
  // The same with SEQUEL, which is run where SQL has succeeded; RESULT is that of SQL.
  [[nodiscard]] bool ExecuteThen(const char* sql, Sequel sequel, Window window, ResultSet& result,
                                 std::string& error);
  // The same inside a transaction, as a statement that stays prepared for the next time where it can be one.
  [[nodiscard]] bool ExecuteKept(const char* sql, Sequel sequel, Window window, ResultSet& result,
                                 std::string& error);

  [[nodiscard]] bool in_transaction() const { return in_transaction_; }
  // The server went away and did not come back while it was waited for.
  [[nodiscard]] bool outage() const { return outage_; }
  // Why no statement that writes would succeed: a statement has met it, and trying others would not help.
  // Null while none has.
  [[nodiscard]] const char* server_failure() const { return server_failure_; }
  // The last statement failed because of what others did at the same moment.
  [[nodiscard]] bool lost_to_others() const { return lost_to_others_; }
  // The last statement was refused in its kept form and has done nothing; it will be sent as a text from now
  // on.
  [[nodiscard]] bool refused_kept() const { return refused_kept_; }

 private:
  using Clock = std::chrono::steady_clock;

  struct Finish {
    void operator()(pg_conn* connection) const;
  };
  struct Clear {
    void operator()(pg_result* answer) const;
  };
  using Connection = std::unique_ptr<pg_conn, Finish>;
  using Answer = std::unique_ptr<pg_result, Clear>;

  explicit PostgresConnection(Connection connection) : connection_(std::move(connection)) {}

  static void HearNotice(void* self, const pg_result* notice);

  [[nodiscard]] bool Connected();
  [[nodiscard]] bool SetUpSession();
  [[nodiscard]] bool IsDead();
  [[nodiscard]] bool Heal(std::string& error);
  [[nodiscard]] bool Revive(std::string& error);
  // The only places that send statements. The answer is that to the last one but TRAILING, or to the one that
  // failed.
  [[nodiscard]] Answer Send(const char* sql, std::size_t trailing = 0);
  [[nodiscard]] Answer SendKept(const PostgresCall& call, Sequel sequel);
  void Queue(const PostgresCall& call, Sequel sequel);
  [[nodiscard]] std::vector<Answer> QueuedAnswers();
  void NoteState(const pg_result* answer);
  [[nodiscard]] bool Take(const Answer& answer, const char* sql, ResultSet& result, std::string& error);
  [[nodiscard]] Answer SendUndisturbed(const char* sql, std::size_t trailing);
  [[nodiscard]] Answer AnswerBefore(std::size_t trailing);
  [[nodiscard]] std::string ErrorOf(const pg_result* answer) const;

  Connection connection_;
  PostgresStatements statements_;
  // A statement or the server's farewell showed the connection to be lost; libpq's own status may still be
  // good then.
  bool lost_ = false;
  bool in_transaction_ = false;
  bool lost_to_others_ = false;
  bool refused_kept_ = false;
  const char* server_failure_ = nullptr;
  // The server did not come back while it was waited for. Until the next attempt is due statements fail at
  // once.
  bool outage_ = false;
  Clock::time_point next_attempt_;
};

#endif  // PLATFORM_LINUX_DB_POSTGRES_H_
