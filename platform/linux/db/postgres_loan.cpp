#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/error.h"
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
constexpr const char* kCommit = "COMMIT";
constexpr const char* kRollback = "ROLLBACK";
// The place to which a statement that fails is taken back lies behind all that have succeeded. It cannot be
// set along with the statement that needs it: of a text that the server cannot read (bad syntax, no UTF-8)
// nothing is run at all, and what came before since the last savepoint would be taken back with it.
constexpr std::array kMoveSavepoint{"RELEASE SAVEPOINT batch", "SAVEPOINT batch"};
constexpr std::array kSetSavepoint{"SAVEPOINT batch"};
constexpr std::string_view kRemoveSavepoint = "RELEASE SAVEPOINT batch; ";
constexpr const char* kBackToSavepoint = "ROLLBACK TO SAVEPOINT batch";

constexpr const char* kRolledBack = "The batch was rolled back.";

enum class Batch { kNone, kOpen, kLost };

// The connection and the batch on it.
struct Lent {
  explicit Lent(std::unique_ptr<PostgresConnection> opened) : connection(std::move(opened)) {}

  [[nodiscard]] bool Run(const char* sql, std::string& error) const {
    ResultSet ignored;
    return connection->Execute(sql, Window{}, ignored, error);
  }
  [[nodiscard]] bool ExecuteGuarded(const char* sql, Window window, ResultSet& result,
                                    std::string& error) const;
  [[nodiscard]] bool ExecuteInBatch(const char* sql, Window window, ResultSet& result, std::string& error);
  [[nodiscard]] bool TakeBack();

  void RefreshPlans();

  std::unique_ptr<PostgresConnection> connection;
  int batches = 0;
  Batch batch = Batch::kNone;
  // What the server runs outside transactions only waits for the commit.
  std::vector<std::string> afterwards;
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
bool Lent::ExecuteGuarded(const char* sql, Window window, ResultSet& result, std::string& error) const {
  if (IsLoneSelect(sql)) return connection->ExecuteKept(sql, {}, window, result, error);
  if (!IsAboutSavepoints(sql)) return connection->ExecuteKept(sql, kMoveSavepoint, window, result, error);
  const std::string text = (BeginsWith(sql, "SAVEPOINT") ? std::string(kRemoveSavepoint) : "") + sql;
  return connection->ExecuteWithFollowing(text.c_str(), kSetSavepoint, window, result, error);
}

// A failed statement would spoil the whole transaction; taken back to the savepoint it spoils itself alone,
// as on SQLite. After a conflict with others the whole batch has to begin anew.
bool Lent::ExecuteInBatch(const char* sql, Window window, ResultSet& result, std::string& error) {
  if (batch == Batch::kLost) {
    error = kRolledBack;
    return false;
  }
  if (BeginsWith(sql, "VACUUM")) {
    afterwards.emplace_back(sql);
    return true;
  }
  if (ExecuteGuarded(sql, window, result, error)) return true;
  const bool again = connection->refused_kept();
  if (!TakeBack() || !again) return false;
  // As a text it is done, or told what is wrong with it.
  if (ExecuteGuarded(sql, window, result, error)) return true;
  static_cast<void>(TakeBack());
  return false;
}

// Undoes the statement that has just failed; false when the batch is lost with it.
bool Lent::TakeBack() {
  std::string ignored;
  const bool spoiled = !connection->in_transaction() || connection->lost_to_others();
  if (!spoiled && Run(kBackToSavepoint, ignored)) return true;
  batch = Batch::kLost;
  // Others need not wait for what is lost.
  if (connection->in_transaction()) static_cast<void>(Run(kRollback, ignored));
  return false;
}

void Lent::RefreshPlans() {
  if (++batches % kBatchesOfPlans != 0) return;
  std::string ignored;
  static_cast<void>(Run(kForgetPlans, ignored));
}

class HandedOut : public DatabaseEngine {
 public:
  explicit HandedOut(std::shared_ptr<Lent> lent) : lent_(std::move(lent)) {}
  ~HandedOut() override;
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;

  [[nodiscard]] int type() const override { return lent_->connection->type(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

 private:
  std::shared_ptr<Lent> lent_;
  bool began_transaction_ = false;
};

// A transaction that an operation began and left open ends with its handle, as it would by closing the
// connection.
HandedOut::~HandedOut() {
  if (!began_transaction_ || lent_->batch != Batch::kNone || !lent_->connection->in_transaction()) return;
  Contained(false, [&] {
    std::string ignored;
    return lent_->Run(kRollback, ignored);
  });
}

bool HandedOut::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  if (lent_->batch != Batch::kNone) return lent_->ExecuteInBatch(sql, window, result, error);
  const bool in_transaction = lent_->connection->in_transaction();
  const bool done = lent_->connection->Execute(sql, window, result, error);
  began_transaction_ = lent_->connection->in_transaction() && (began_transaction_ || !in_transaction);
  return done;
}

class PostgresLoan : public Loan {
 public:
  PostgresLoan(std::unique_ptr<PostgresConnection> connection, const char* user, const char* database)
      : lent_(std::make_shared<Lent>(std::move(connection))), user_(user), database_(database) {}

  [[nodiscard]] std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database) override {
    if (user == nullptr || user != user_ || database != database_) return nullptr;
    return std::make_unique<HandedOut>(lent_);
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
    if (lent_->batch == Batch::kLost) {
      error = kRolledBack;
      return false;
    }
    if (!lent_->Run(kCommit, error)) return false;
    lent_->batch = Batch::kNone;
    for (const std::string& sql : std::exchange(lent_->afterwards, {})) {
      std::string ignored;
      static_cast<void>(lent_->Run(sql.c_str(), ignored));
    }
    return true;
  }

  // A connection that is lost has rolled back already.
  [[nodiscard]] bool RollBack() override {
    lent_->batch = Batch::kNone;
    std::string ignored;
    return !lent_->connection->in_transaction() || lent_->Run(kRollback, ignored) ||
           !lent_->connection->in_transaction();
  }

  [[nodiscard]] std::string LastingFailure() const override {
    if (const char* failure = lent_->connection->server_failure()) return failure;
    return lent_->connection->is_server_unreachable() ? "the server cannot be reached" : "";
  }

 private:
  [[nodiscard]] bool TryToBegin(const std::string& begin, std::string& error, bool& others_hold_it) {
    lent_->afterwards.clear();
    if (lent_->Run(begin.c_str(), error)) {
      lent_->RefreshPlans();
      lent_->batch = Batch::kOpen;
      return true;
    }
    others_hold_it = lent_->connection->lost_to_others();
    static_cast<void>(RollBack());
    return false;
  }

  std::shared_ptr<Lent> lent_;
  std::string user_;
  std::string database_;
};

}  // namespace

std::unique_ptr<Loan> LendPostgres(const char* user, const char* database, std::string& error) {
  std::unique_ptr<PostgresConnection> connection = PostgresConnection::Open(user, nullptr, database, error);
  if (connection == nullptr) return nullptr;
  return std::make_unique<PostgresLoan>(std::move(connection), user, database);
}
