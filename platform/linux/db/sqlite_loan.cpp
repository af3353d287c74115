#include <errno.h>

#include <cstring>
#include <optional>
#include <utility>

#include "base/file_id.h"
#include "core/error.h"
#include "db/loan.h"
#include "db/sqlite.h"

namespace {

// Foreign keys cannot be switched inside a transaction, so they are on for as long as the connection is lent;
// every operation asks for that anyway. A commit is on the disk before it is reported, as with a connection
// of the operation's own. Reading the schema shows at once when the file is no database.
constexpr const char* kLendSetup =
    "PRAGMA foreign_keys=ON; PRAGMA synchronous=FULL; SELECT 1 FROM main.sqlite_master LIMIT 1";
constexpr const char* kBegin = "BEGIN IMMEDIATE";
constexpr const char* kCommit = "COMMIT";
constexpr const char* kRollback = "ROLLBACK";

// The connection and whether the loan's batch is open on it.
struct Lent {
  explicit Lent(std::unique_ptr<SqliteConnection> opened) : connection(std::move(opened)) {}

  std::unique_ptr<SqliteConnection> connection;
  bool in_batch = false;
};

// One hand-out: the lent connection with settings of its own, as if it were a connection of its own.
class HandedOut : public DatabaseEngine {
 public:
  explicit HandedOut(std::shared_ptr<Lent> lent) : lent_(std::move(lent)) {}
  ~HandedOut() override;
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;

  [[nodiscard]] int type() const override { return connection().type(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

 private:
  [[nodiscard]] SqliteConnection& connection() const { return *lent_->connection; }

  std::shared_ptr<Lent> lent_;
  bool case_sensitive_like_ = false;
  bool began_transaction_ = false;
};

// A transaction that an operation began and left open ends with its handle, as it would by closing the
// connection.
HandedOut::~HandedOut() {
  if (!began_transaction_ || lent_->in_batch || !connection().InTransaction()) return;
  Contained(false, [&] {
    std::string ignored;
    return connection().Run(kRollback, ignored);
  });
}

bool HandedOut::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  // Alone outside its batch a statement would be kept although the batch cannot be.
  if (lent_->in_batch && !connection().InTransaction()) {
    error = "The batch was rolled back.";
    return false;
  }
  if (connection().case_sensitive_like() != case_sensitive_like_ &&
      !connection().SetCaseSensitiveLike(case_sensitive_like_, error)) {
    return false;
  }
  const bool in_transaction = connection().InTransaction();
  const bool done = connection().Execute(sql, window, result, error);
  case_sensitive_like_ = connection().case_sensitive_like();
  began_transaction_ = connection().InTransaction() && (began_transaction_ || !in_transaction);
  return done;
}

// FILE is compared by device and inode, so a file that was put in the place of the lent one is another.
class SqliteLoan : public Loan {
 public:
  SqliteLoan(std::unique_ptr<SqliteConnection> connection, const char* file, FileId id)
      : lent_(std::make_shared<Lent>(std::move(connection))), file_(file), id_(id) {}

  [[nodiscard]] std::unique_ptr<DatabaseEngine> HandOut(const char* user, const char* database) override {
    if (user != nullptr || IdOfName(database) != id_) return nullptr;
    return std::make_unique<HandedOut>(lent_);
  }

  [[nodiscard]] bool Begin(std::string& error) override {
    // What follows would open the file that stands there now, and not be part of the batch.
    if (WasReplaced(error) || !lent_->connection->Run(kBegin, error)) return false;
    lent_->in_batch = true;
    return true;
  }

  [[nodiscard]] bool Commit(std::string& error) override {
    if (!lent_->connection->InTransaction()) {
      error = "The batch was rolled back.";
      return false;
    }
    // It would be kept in a file that nobody finds, and the side files would be gone.
    if (WasReplaced(error) || !lent_->connection->Run(kCommit, error)) return false;
    lent_->in_batch = false;
    return true;
  }

  [[nodiscard]] bool RollBack() override {
    lent_->in_batch = false;
    std::string ignored;
    return !lent_->connection->InTransaction() || lent_->connection->Run(kRollback, ignored);
  }

  [[nodiscard]] std::string LastingFailure() const override {
    const std::string& failure = lent_->connection->file_failure();
    return failure.empty() && IdOfName(file_.c_str()) != id_ ? "it was removed or replaced" : failure;
  }

 private:
  [[nodiscard]] bool WasReplaced(std::string& error) const {
    if (IdOfName(file_.c_str()) == id_) return false;
    error = "The lent file was replaced.";
    return true;
  }

  std::shared_ptr<Lent> lent_;
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
