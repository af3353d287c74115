#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "db/borrowed_engine.h"
#include "db/loan.h"
#include "db/postgres.h"
#include "db/postgres_text.h"

namespace {

using std::chrono::milliseconds;

// One batch of all processes at a time, as on SQLite: they give out ids by maximum plus one and would
// deadlock on each other's labels. The number only has to be this program's own.
constexpr const char* kBegin = "BEGIN ISOLATION LEVEL READ COMMITTED; ";
constexpr const char* kLock = "SELECT pg_advisory_xact_lock(7310526); ";
constexpr const char* kMark = "SAVEPOINT batch";
constexpr const char* kWaitAtMost = "SET LOCAL lock_timeout = ";  // milliseconds
// The plans of kept statements were made for tables as long as they were then; an index that was not worth it
// may be by now. Nothing else tells the server of it before it next takes statistics.
constexpr const char* kForgetPlans = "DISCARD PLANS";
constexpr int kBatchesOfPlans = 100;  // a few seconds of a run
// The place to which a statement that fails is taken back lies behind all that have succeeded. It cannot be
// set along with the statement that needs it: of a text that the server cannot read (bad syntax, no UTF-8)
// nothing is run at all, and what came before since the last savepoint would be taken back with it.
constexpr std::array kMoveSavepoint{"RELEASE SAVEPOINT batch", "SAVEPOINT batch"};
constexpr std::array kSetSavepoint{"SAVEPOINT batch"};
constexpr std::string_view kRemoveSavepoint = "RELEASE SAVEPOINT batch; ";
constexpr const char* kBackToSavepoint = "ROLLBACK TO SAVEPOINT batch";

enum class Batch { kNone, kOpen, kLost };

class SharedPostgresBatch : public SharedBatch {
 public:
  explicit SharedPostgresBatch(std::unique_ptr<PostgresConnection> opened) : connection_(std::move(opened)) {}

  [[nodiscard]] int type() const override { return connection_->type(); }
  [[nodiscard]] bool in_batch() const override { return batch_ != Batch::kNone; }
  [[nodiscard]] bool InTransaction() const override { return connection_->in_transaction(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override {
    return in_batch() ? ExecuteInBatch(sql, window, result, error)
                      : connection_->Execute(sql, window, result, error);
  }
  [[nodiscard]] bool Run(const char* sql, std::string& error) override {
    ResultSet ignored;
    return connection_->Execute(sql, Window{}, ignored, error);
  }

  [[nodiscard]] const PostgresConnection& connection() const { return *connection_; }
  // Nothing more can be done in the batch, and nothing of it is kept.
  [[nodiscard]] bool is_lost() const { return batch_ == Batch::kLost; }
  void Begun();
  void Ended() { batch_ = Batch::kNone; }
  // What waits for the commit: the server runs it outside transactions only.
  [[nodiscard]] std::vector<std::string> TakeAfterwards() { return std::exchange(afterwards_, {}); }

 private:
  [[nodiscard]] bool ExecuteGuarded(const char* sql, Window window, ResultSet& result,
                                    std::string& error) const;
  [[nodiscard]] bool ExecuteInBatch(const char* sql, Window window, ResultSet& result, std::string& error);
  [[nodiscard]] bool TakeBack();

  std::unique_ptr<PostgresConnection> connection_;
  int batches_ = 0;
  Batch batch_ = Batch::kNone;
  std::vector<std::string> afterwards_;
};

std::string BeginText() {
  return std::string(kBegin) + kLock + kMark;
}

// The same, with what is left of the patience with others' locks after so much WAITED. Later statements of
// the batch have all of it.
std::string BeginTextAfter(milliseconds waited) {
  const milliseconds whole(kLockPatience);
  const milliseconds left = std::max(whole - waited, milliseconds(1));  // 0 would be for ever
  const auto within = [](milliseconds limit) { return kWaitAtMost + std::to_string(limit.count()) + "; "; };
  return kBegin + within(left) + kLock + within(whole) + kMark;
}

bool IsAboutSavepoints(const char* sql) {
  return BeginsWith(sql, "SAVEPOINT") || BeginsWith(sql, "RELEASE") || BeginsWith(sql, "ROLLBACK");
}

// A savepoint of the caller's own has to lie below the batch's, and what ends it ends the batch's too.
bool SharedPostgresBatch::ExecuteGuarded(const char* sql, Window window, ResultSet& result,
                                         std::string& error) const {
  if (IsLoneSelect(sql)) return connection_->ExecuteKept(sql, {}, window, result, error);
  if (!IsAboutSavepoints(sql)) return connection_->ExecuteKept(sql, kMoveSavepoint, window, result, error);
  const std::string text = (BeginsWith(sql, "SAVEPOINT") ? std::string(kRemoveSavepoint) : "") + sql;
  return connection_->ExecuteWithFollowing(text.c_str(), kSetSavepoint, window, result, error);
}

// A failed statement would spoil the whole transaction; taken back to the savepoint it spoils itself alone,
// as on SQLite. After a conflict with others the whole batch has to begin anew.
bool SharedPostgresBatch::ExecuteInBatch(const char* sql, Window window, ResultSet& result,
                                         std::string& error) {
  if (batch_ == Batch::kLost) {
    error = kBatchRolledBack;
    return false;
  }
  if (BeginsWith(sql, "VACUUM")) {
    afterwards_.emplace_back(sql);
    return true;
  }
  if (ExecuteGuarded(sql, window, result, error)) return true;
  const bool again = connection_->refused_kept();
  if (!TakeBack() || !again) return false;
  // As a text it is done, or told what is wrong with it.
  if (ExecuteGuarded(sql, window, result, error)) return true;
  static_cast<void>(TakeBack());
  return false;
}

// Undoes the statement that has just failed; false when the batch is lost with it.
bool SharedPostgresBatch::TakeBack() {
  std::string ignored;
  const bool spoiled = !connection_->in_transaction() || connection_->lost_to_others();
  if (!spoiled && Run(kBackToSavepoint, ignored)) return true;
  batch_ = Batch::kLost;
  // Others need not wait for what is lost.
  if (connection_->in_transaction()) static_cast<void>(Run(kRollBackBatch, ignored));
  return false;
}

void SharedPostgresBatch::Begun() {
  std::string ignored;
  if (++batches_ % kBatchesOfPlans == 0) static_cast<void>(Run(kForgetPlans, ignored));
  batch_ = Batch::kOpen;
}

class PostgresLoan : public Loan {
 public:
  PostgresLoan(std::unique_ptr<PostgresConnection> connection, const char* user, const char* database)
      : batch_(std::make_shared<SharedPostgresBatch>(std::move(connection))),
        user_(user),
        database_(database) {}

  [[nodiscard]] std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database) override {
    if (user == nullptr || user != user_ || database != database_) return nullptr;
    return std::make_unique<BorrowedEngine>(batch_);
  }

  // Nothing is lost by a second try when the connection dies on the first. Both together wait for others no
  // longer than one may: who began the batch is watched, and would be taken for dead.
  [[nodiscard]] bool Begin(std::string& error) override {
    const auto first = std::chrono::steady_clock::now();
    bool others_hold_it = false;
    if (TryToBegin(BeginText(), error, others_hold_it)) return true;
    const auto waited = std::chrono::steady_clock::now() - first;
    return !others_hold_it && TryToBegin(BeginTextAfter(std::chrono::duration_cast<milliseconds>(waited)),
                                         error, others_hold_it);
  }

  [[nodiscard]] bool Commit(std::string& error) override {
    if (batch_->is_lost()) {
      error = kBatchRolledBack;
      return false;
    }
    if (!batch_->Run(kCommitBatch, error)) return false;
    batch_->Ended();
    for (const std::string& sql : batch_->TakeAfterwards()) {
      std::string ignored;
      static_cast<void>(batch_->Run(sql.c_str(), ignored));
    }
    return true;
  }

  // A connection that is lost has rolled back already.
  [[nodiscard]] bool RollBack() override {
    batch_->Ended();
    std::string ignored;
    return !batch_->InTransaction() || batch_->Run(kRollBackBatch, ignored) || !batch_->InTransaction();
  }

  [[nodiscard]] std::string LastingFailure() const override {
    if (const char* failure = batch_->connection().server_failure()) return failure;
    return batch_->connection().is_server_unreachable() ? "the server cannot be reached" : "";
  }

 private:
  [[nodiscard]] bool TryToBegin(const std::string& begin, std::string& error, bool& others_hold_it) {
    static_cast<void>(batch_->TakeAfterwards());
    if (batch_->Run(begin.c_str(), error)) {
      batch_->Begun();
      return true;
    }
    others_hold_it = batch_->connection().lost_to_others();
    static_cast<void>(RollBack());
    return false;
  }

  std::shared_ptr<SharedPostgresBatch> batch_;
  std::string user_;
  std::string database_;
};

}  // namespace

std::unique_ptr<Loan> LendPostgres(const char* user, const char* database, std::string& error) {
  std::unique_ptr<PostgresConnection> connection = PostgresConnection::Open(user, nullptr, database, error);
  if (connection == nullptr) return nullptr;
  return std::make_unique<PostgresLoan>(std::move(connection), user, database);
}
