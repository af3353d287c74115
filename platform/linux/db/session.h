#ifndef PLATFORM_LINUX_DB_SESSION_H_
#define PLATFORM_LINUX_DB_SESSION_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/pending_removals.h"
#include "db/engine.h"
#include "db/loan.h"

// What a thread keeps between its calls about databases: the connection that it has lent, the batch on it
// with the removals that wait for its commit, and why the last calls failed. Nothing else decides what a
// connect does.
//
// It owns the loan and the batch; what is open when it ends is rolled back. Each thread has its own, which no
// other may use.
class Session {
 public:
  // That of the calling thread; it lives as long as the thread.
  [[nodiscard]] static Session& OfThread();

  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Null with the reason in ERROR.
  using Open = std::function<std::unique_ptr<Loan>(std::string& error)>;
  // False, with its reason in lending_error(), as for all that follows. What was lent before is withdrawn.
  [[nodiscard]] bool Lend(const Open& open);
  // An open batch is rolled back.
  void EndLending();
  // The lent connection in the state of a new one, when this thread has lent one to DATABASE for USER (null:
  // DATABASE is an SQLite file); null otherwise.
  [[nodiscard]] std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database);

  // One batch at a time; each of both ends has it over, and its removals done or dropped.
  [[nodiscard]] bool BeginBatch();
  [[nodiscard]] bool CommitBatch();
  void RollBackBatch();
  // What waits for the commit of the open batch; null when none is open.
  [[nodiscard]] PendingRemovals* pending() { return batch_ ? &*batch_ : nullptr; }

  // Notes REASON as that of a call that was refused. False, as its result.
  bool Refuse(std::string_view reason);
  [[nodiscard]] const std::string& lending_error() const { return lending_error_; }
  // Why the last attempt to connect failed, empty after one that succeeded; who attempts writes it.
  [[nodiscard]] std::string& connect_error() { return connect_error_; }
  // Why nothing more can be done with the lent database as a whole, empty while it is well. It outlives the
  // loan that met it, until another is lent.
  [[nodiscard]] const std::string& LastingFailure();

 private:
  void AbandonBatch();

  std::unique_ptr<Loan> loan_;
  std::optional<PendingRemovals> batch_;  // while one is open
  std::string lending_error_;
  std::string connect_error_;
  std::string lasting_failure_;
};

#endif  // PLATFORM_LINUX_DB_SESSION_H_
