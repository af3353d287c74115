// One connection to a PostgreSQL server, which may go away and come back.
#ifndef PLATFORM_LINUX_DB_POSTGRES_H_
#define PLATFORM_LINUX_DB_POSTGRES_H_

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "db/engine.h"
#include "db/postgres_answer.h"
#include "db/postgres_link.h"
#include "db/postgres_statements.h"

// A lost connection is noticed before a statement is sent and made anew. A SELECT of its own that dies on the
// way is sent once more; whether a write that died has happened nobody can tell, so it is reported as failed
// and never sent twice. Inside a transaction nothing is repaired silently: the statement fails, and the
// connection is made anew for the next.
//
// A statement outside a transaction that the server undid because of what others did at the same moment
// (SQLSTATE 40001, 40P01, 55P03) is sent again a few times within ten seconds, after pauses of random length.
//
// Used by one thread at a time.
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
  using FollowingStatements = std::span<const char* const>;
  // The same with FOLLOWING, which is run where SQL has succeeded; RESULT is that of SQL.
  [[nodiscard]] bool ExecuteWithFollowing(const char* sql, FollowingStatements following, Window window,
                                          ResultSet& result, std::string& error);
  // The same inside a transaction, as a statement that stays prepared for the next time where it can be one.
  [[nodiscard]] bool ExecuteKept(const char* sql, FollowingStatements following, Window window,
                                 ResultSet& result, std::string& error);

  [[nodiscard]] bool in_transaction() const { return link_->in_transaction(); }
  // The server went away and did not come back while it was waited for.
  [[nodiscard]] bool is_server_unreachable() const { return link_->is_server_unreachable(); }
  // Why no statement that writes would succeed: a statement has met it, and trying others would not help.
  // Null while none has.
  [[nodiscard]] const char* server_failure() const { return server_failure_; }
  // The last statement failed because of what others did at the same moment.
  [[nodiscard]] bool lost_to_others() const { return lost_to_others_; }
  // The last statement was refused in its kept form and has done nothing; it will be sent as a text from now
  // on.
  [[nodiscard]] bool refused_kept() const { return refused_kept_; }

 private:
  explicit PostgresConnection(std::unique_ptr<PostgresLink> link) : link_(std::move(link)) {}

  // The only places that send statements of others. The answer is that to the last one but TRAILING, or to
  // the one that failed.
  [[nodiscard]] PostgresAnswer Send(const char* sql, std::size_t trailing = 0);
  [[nodiscard]] PostgresAnswer SendKept(const PostgresCall& call, FollowingStatements following);
  [[nodiscard]] PostgresAnswer SendUndisturbed(const char* sql, std::size_t trailing);
  [[nodiscard]] bool Take(const PostgresAnswer& answer, const char* sql, ResultSet& result,
                          std::string& error);

  std::unique_ptr<PostgresLink> link_;
  bool lost_to_others_ = false;
  bool refused_kept_ = false;
  const char* server_failure_ = nullptr;
};

#endif  // PLATFORM_LINUX_DB_POSTGRES_H_
