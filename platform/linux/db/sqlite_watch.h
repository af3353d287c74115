// What ends the statements of an SQLite connection that take too long.
#ifndef PLATFORM_LINUX_DB_SQLITE_WATCH_H_
#define PLATFORM_LINUX_DB_SQLITE_WATCH_H_

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "db/engine.h"

// Used by the connection's thread. SQLite itself asks whether to go on between the steps of its machine and
// while it waits for a lock. A single step may walk a whole index, though, and in one that was crafted to
// have no end it stays for good: a connection that heeds its reader has a thread besides that looks at the
// clock and at signals, and has SQLite give up. Other connections may belong to a host and start none.
class SqliteWatch {
 public:
  // SQLite holds its address. It goes before the connection does.
  explicit SqliteWatch(sqlite3* database);
  ~SqliteWatch();
  SqliteWatch(const SqliteWatch&) = delete;
  SqliteWatch& operator=(const SqliteWatch&) = delete;

  [[nodiscard]] std::chrono::milliseconds bound() const { return bound_; }
  void set_bound(std::chrono::milliseconds bound) { bound_ = bound; }
  // The limit of the one who reads, and an end when a signal that stops programs is held back.
  void ObeySignalsAndTimeout();

  [[nodiscard]] bool stopped() const { return stopped_; }
  [[nodiscard]] const char* WhyInterrupted() const;

  // One statement, from its preparation on: SQLite may read the schema for it.
  class StatementTimer {
   public:
    explicit StatementTimer(SqliteWatch& watch) : watch_(watch) {
      watch_.SetEnd(Clock::now() + watch_.bound_);
    }
    ~StatementTimer() { watch_.SetEnd(Clock::time_point::max()); }
    StatementTimer(const StatementTimer&) = delete;
    StatementTimer& operator=(const StatementTimer&) = delete;

   private:
    SqliteWatch& watch_;
  };

  // The reading of a schema that nobody knows, which has far tighter bounds.
  class OfSchema {
   public:
    explicit OfSchema(SqliteWatch& watch);
    ~OfSchema();
    OfSchema(const OfSchema&) = delete;
    OfSchema& operator=(const OfSchema&) = delete;
    [[nodiscard]] bool exceeded() const { return watch_.looks_left_ == 0; }

   private:
    SqliteWatch& watch_;
  };

 private:
  using Clock = std::chrono::steady_clock;

  static int IsOverdue(void* watch);
  static int IsTooMuchSchema(void* watch);
  // After TRIES earlier tries for a lock: whether to try again.
  static int WaitForLock(void* watch, int tries);
  void SetEnd(Clock::time_point end);
  void StartThread();
  void LookNowAndThen(const std::stop_token& ended);

  sqlite3* const database_;
  std::chrono::milliseconds bound_ = kStatementBound;
  Clock::time_point waiting_since_{};  // for a lock
  bool heeds_stops_ = false;           // also signals that are held back end it
  int looks_left_ = 0;                 // until a schema that nobody knows is given up
  std::atomic<bool> stopped_ = false;
  std::mutex mutex_;  // an end is of one statement, and so is what follows from it
  Clock::time_point end_ = Clock::time_point::max();
  std::condition_variable_any between_looks_;
  std::jthread thread_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_WATCH_H_
