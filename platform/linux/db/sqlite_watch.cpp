#include "db/sqlite_watch.h"

#include <signal.h>

#include <algorithm>
#include <system_error>

#include "base/heeded_signals.h"
#include "base/read_timeout.h"

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kBusyTimeout{30};
// So many steps of its machine SQLite makes between two looks at the clock.
constexpr int kStepsBetweenLooks = 1000;
// A thousand objects take some fifteen steps each to read; a library's schema has some forty.
constexpr int kMostSchemaLooks = 25;
constexpr milliseconds kBetweenLooks{50};

// A signal that stops programs is held back by this thread, and has arrived.
bool StopIsPending() {
  sigset_t pending;
  if (sigpending(&pending) != 0) return false;
  const sigset_t heeded = HeededStopSignals();
  sigandset(&pending, &pending, &heeded);
  return sigisemptyset(&pending) == 0;
}

// A thread that is started meanwhile takes no signal.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

SqliteWatch::SqliteWatch(sqlite3* database) : database_(database) {
  sqlite3_progress_handler(database_, kStepsBetweenLooks, IsOverdue, this);
  sqlite3_busy_handler(database_, WaitForLock, this);
}

// What was interrupted last must not keep the closing from taking the log in; any statement ends that.
SqliteWatch::~SqliteWatch() {
  if (thread_.joinable()) {
    thread_.request_stop();
    thread_.join();
  }
  sqlite3_progress_handler(database_, 0, nullptr, nullptr);
  sqlite3_busy_handler(database_, nullptr, nullptr);
  sqlite3_exec(database_, "SELECT 1", nullptr, nullptr, nullptr);
}

void SqliteWatch::ObeySignalsAndTimeout() {
  heeds_stops_ = true;
  bound_ = std::min(bound_, ReadTimeout().value_or(bound_));
  StartThread();
}

const char* SqliteWatch::WhyInterrupted() const {
  return stopped_ ? "Stopped by a signal." : "The statement took too long.";
}

SqliteWatch::OfSchema::OfSchema(SqliteWatch& watch) : watch_(watch) {
  watch_.looks_left_ = kMostSchemaLooks;
  sqlite3_progress_handler(watch_.database_, kStepsBetweenLooks, IsTooMuchSchema, &watch_);
}

SqliteWatch::OfSchema::~OfSchema() {
  sqlite3_progress_handler(watch_.database_, kStepsBetweenLooks, IsOverdue, &watch_);
}

int SqliteWatch::IsOverdue(void* watch) {
  auto& self = *static_cast<SqliteWatch*>(watch);
  if (self.heeds_stops_ && StopIsPending()) self.stopped_ = true;
  // Its own thread alone sets the end.
  return self.stopped_ || Clock::now() > self.end_ ? 1 : 0;
}

int SqliteWatch::IsTooMuchSchema(void* watch) {
  int& left = static_cast<SqliteWatch*>(watch)->looks_left_;
  if (left > 0) --left;
  return left == 0 ? 1 : IsOverdue(watch);
}

int SqliteWatch::WaitForLock(void* watch, int tries) {
  constexpr int kLongestPauseMs = 20;
  auto& self = *static_cast<SqliteWatch*>(watch);
  const auto now = Clock::now();
  if (tries == 0) self.waiting_since_ = now;
  if (IsOverdue(watch) != 0 || now - self.waiting_since_ > kBusyTimeout) return 0;
  std::this_thread::sleep_for(milliseconds(std::min(tries + 1, kLongestPauseMs)));
  return 1;
}

void SqliteWatch::SetEnd(Clock::time_point end) {
  const std::scoped_lock lock(mutex_);
  end_ = end;
}

// Where no thread can be had, SQLite's own looks are left.
void SqliteWatch::StartThread() {
  if (thread_.joinable()) return;
  const AllSignalsBlocked blocked;
  try {
    thread_ = std::jthread([this](const std::stop_token& ended) { LookNowAndThen(ended); });
  } catch (const std::system_error&) {
    return;
  }
}

void SqliteWatch::LookNowAndThen(const std::stop_token& ended) {
  std::unique_lock lock(mutex_);
  while (!between_looks_.wait_for(lock, ended, kBetweenLooks, [&] { return ended.stop_requested(); })) {
    if (end_ != Clock::time_point::max() && IsOverdue(this) != 0) sqlite3_interrupt(database_);
  }
}
