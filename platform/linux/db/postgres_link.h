// The link of a connection to its PostgreSQL server, which may go away and come back.
#ifndef PLATFORM_LINUX_DB_POSTGRES_LINK_H_
#define PLATFORM_LINUX_DB_POSTGRES_LINK_H_

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "db/postgres_statements.h"

struct pg_conn;
struct pg_result;

// So long a statement waits for a lock of others; then it fails, as it would on SQLite.
inline constexpr std::chrono::seconds kLockPatience{30};

// One session at the server after the other: whether it still stands, and how the next one is made. A
// transaction and the statements that are kept end with their session.
//
// Used by the connection's thread.
class PostgresLink {
 public:
  // As PostgresConnection::Open.
  [[nodiscard]] static std::unique_ptr<PostgresLink> Open(const char* user, const char* password,
                                                          const char* database, std::string& error);
  PostgresLink(const PostgresLink&) = delete;
  PostgresLink& operator=(const PostgresLink&) = delete;

  // For libpq; it stays the same.
  [[nodiscard]] pg_conn* get() const { return connection_.get(); }
  [[nodiscard]] PostgresStatements& statements() { return statements_; }

  // To be told of every ANSWER, of none (null) too.
  void Note(const pg_result* answer);
  // Something could not even be sent.
  void NoteLoss() { lost_ = true; }

  [[nodiscard]] bool lost() const { return lost_; }
  [[nodiscard]] bool in_transaction() const { return in_transaction_; }
  // The server did not come back while it was waited for.
  [[nodiscard]] bool is_server_unreachable() const { return is_server_unreachable_; }

  // True when a statement can be sent, if need be on a new session; false with ERROR, also where a
  // transaction was lost.
  [[nodiscard]] bool ReconnectIfDead(std::string& error);
  // Makes the lost session anew. The first call of an outage waits a little for the server; later ones try at
  // most once a pause and wait for nothing.
  [[nodiscard]] bool Reconnect(std::string& error);

 private:
  using Clock = std::chrono::steady_clock;

  struct Finish {
    void operator()(pg_conn* connection) const;
  };
  using Connection = std::unique_ptr<pg_conn, Finish>;

  explicit PostgresLink(Connection connection) : connection_(std::move(connection)) {}

  static void HearNotice(void* self, const pg_result* notice);

  [[nodiscard]] bool Connected();
  [[nodiscard]] bool SetUpSession();
  [[nodiscard]] bool Set(const char* settings);
  [[nodiscard]] bool IsDead();

  Connection connection_;
  PostgresStatements statements_;
  // A statement or the server's farewell showed the session to be lost; libpq's own status may still be good
  // then.
  bool lost_ = false;
  bool in_transaction_ = false;
  // Until the next attempt is due statements fail at once.
  bool is_server_unreachable_ = false;
  Clock::time_point next_attempt_;
};

#endif  // PLATFORM_LINUX_DB_POSTGRES_LINK_H_
