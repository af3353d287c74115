#include <errno.h>

#include <cstring>
#include <optional>
#include <utility>

#include "base/file_id.h"
#include "db/borrowed_engine.h"
#include "db/loan.h"
#include "db/sqlite.h"

namespace {

// Foreign keys cannot be switched inside a transaction, so they are on for as long as the connection is lent;
// every operation asks for that anyway. A commit is on the disk before it is reported, as with a connection
// of the operation's own. Reading the schema shows at once when the file is no database.
constexpr const char* kLendSetup =
    "PRAGMA foreign_keys=ON; PRAGMA synchronous=FULL; SELECT 1 FROM main.sqlite_master LIMIT 1";
constexpr const char* kBegin = "BEGIN IMMEDIATE";

class SharedSqliteBatch : public SharedBatch {
 public:
  explicit SharedSqliteBatch(std::unique_ptr<SqliteConnection> opened) : connection_(std::move(opened)) {}

  [[nodiscard]] int type() const override { return connection_->type(); }
  [[nodiscard]] bool in_batch() const override { return in_batch_; }
  [[nodiscard]] bool InTransaction() const override { return connection_->InTransaction(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override {
    // Alone outside its batch a statement would be kept although the batch cannot be.
    if (in_batch_ && !InTransaction()) {
      error = kBatchRolledBack;
      return false;
    }
    return connection_->Execute(sql, window, result, error);
  }
  [[nodiscard]] bool Run(const char* sql, std::string& error) override {
    return connection_->Run(sql, error);
  }

  [[nodiscard]] SqliteConnection& connection() const { return *connection_; }
  void set_in_batch(bool in_batch) { in_batch_ = in_batch; }

 private:
  std::unique_ptr<SqliteConnection> connection_;
  bool in_batch_ = false;
};

// Each borrower has asked for itself whether LIKE minds letter case.
class BorrowedSqlite : public BorrowedEngine {
 public:
  explicit BorrowedSqlite(const std::shared_ptr<SharedSqliteBatch>& batch)
      : BorrowedEngine(batch), batch_(batch) {}

  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override {
    SqliteConnection& connection = batch_->connection();
    if (connection.case_sensitive_like() != case_sensitive_like_ &&
        !connection.SetCaseSensitiveLike(case_sensitive_like_, error)) {
      return false;
    }
    const bool done = BorrowedEngine::Execute(sql, window, result, error);
    case_sensitive_like_ = connection.case_sensitive_like();
    return done;
  }

 private:
  std::shared_ptr<SharedSqliteBatch> batch_;
  bool case_sensitive_like_ = false;
};

// FILE is compared by device and inode, so a file that was put in the place of the lent one is another.
class SqliteLoan : public Loan {
 public:
  SqliteLoan(std::unique_ptr<SqliteConnection> connection, const char* file, FileId id)
      : batch_(std::make_shared<SharedSqliteBatch>(std::move(connection))), file_(file), id_(id) {}

  [[nodiscard]] std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database) override {
    if (user != nullptr || IdOfName(database) != id_) return nullptr;
    return std::make_unique<BorrowedSqlite>(batch_);
  }

  [[nodiscard]] bool Begin(std::string& error) override {
    // What follows would open the file that stands there now, and not be part of the batch.
    if (WasReplaced(error) || !batch_->Run(kBegin, error)) return false;
    batch_->set_in_batch(true);
    return true;
  }

  [[nodiscard]] bool Commit(std::string& error) override {
    if (!batch_->InTransaction()) {
      error = kBatchRolledBack;
      return false;
    }
    // It would be kept in a file that nobody finds, and the side files would be gone.
    if (WasReplaced(error) || !batch_->Run(kCommitBatch, error)) return false;
    batch_->set_in_batch(false);
    return true;
  }

  [[nodiscard]] bool RollBack() override {
    batch_->set_in_batch(false);
    std::string ignored;
    return !batch_->InTransaction() || batch_->Run(kRollBackBatch, ignored);
  }

  [[nodiscard]] std::string LastingFailure() const override {
    const std::string& failure = batch_->connection().file_failure();
    return failure.empty() && IdOfName(file_.c_str()) != id_ ? "it was removed or replaced" : failure;
  }

 private:
  [[nodiscard]] bool WasReplaced(std::string& error) const {
    if (IdOfName(file_.c_str()) == id_) return false;
    error = "The lent file was replaced.";
    return true;
  }

  std::shared_ptr<SharedSqliteBatch> batch_;
  std::string file_;
  FileId id_;
};

}  // namespace

std::unique_ptr<Loan> LendSqlite(const char* file, std::string& error) {
  const std::optional<FileId> before = IdOfName(file);
  if (!before) {
    error = std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<SqliteConnection> connection = SqliteConnection::Open(file, SqliteFile::kMustExist, error);
  if (connection == nullptr || !connection->Run(kLendSetup, error)) return nullptr;
  if (IdOfName(file) != before) {
    error = "The file was replaced while it was opened.";
    return nullptr;
  }
  connection->KeepStatements();
  return std::make_unique<SqliteLoan>(std::move(connection), file, *before);
}
