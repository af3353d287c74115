// A connection that the owner of the process has lent, to either engine.
#ifndef PLATFORM_LINUX_DB_LOAN_H_
#define PLATFORM_LINUX_DB_LOAN_H_

#include <memory>
#include <string>

#include "db/engine.h"

// Hand-outs that are still used when the loan ends keep the connection open.
class Loan {
 public:
  Loan() = default;
  Loan(const Loan&) = delete;
  Loan& operator=(const Loan&) = delete;
  virtual ~Loan() = default;

  // The lent connection in the state of a new one, when it leads to DATABASE for USER (null: DATABASE is an
  // SQLite file); null otherwise.
  [[nodiscard]] virtual std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database) = 0;

  // One write transaction that all hand-outs share. A statement that fails leaves what the earlier ones did.
  // Where the engine ends the transaction by itself, every further statement fails, and so does the commit.
  [[nodiscard]] virtual bool Begin(std::string& error) = 0;
  // False: nothing is kept, but the transaction may still have to be rolled back.
  [[nodiscard]] virtual bool Commit(std::string& error) = 0;
  // False: the transaction may still be open, and the loan is of no more use.
  [[nodiscard]] virtual bool RollBack() = 0;

  // Why no statement whatever would succeed from now on; empty while that is not known.
  [[nodiscard]] virtual std::string LastingFailure() const = 0;
};

// Null with ERROR when there is no such file or it cannot be opened.
[[nodiscard]] std::unique_ptr<Loan> LendSqlite(const char* file, std::string& error);
[[nodiscard]] std::unique_ptr<Loan> LendPostgres(const char* user, const char* database, std::string& error);

#endif  // PLATFORM_LINUX_DB_LOAN_H_
