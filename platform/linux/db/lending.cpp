#include "db/lending.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/beneath.h"
#include "core/error.h"
#include "core/pending_removals.h"
#include "db/sqlite.h"
#include "platform/connection_lending.h"

namespace {

// Foreign keys cannot be switched inside a transaction, so they are on for as long as the connection is lent;
// every operation asks for that anyway. A commit is on the disk before it is reported, as with a connection
// of the operation's own. Reading the schema shows at once when the file is no database.
constexpr const char* kLendSetup =
    "PRAGMA foreign_keys=ON; PRAGMA synchronous=FULL; SELECT count(*) FROM sqlite_schema";
constexpr const char* kBegin = "BEGIN IMMEDIATE";
constexpr const char* kCommit = "COMMIT";
constexpr const char* kRollback = "ROLLBACK";
constexpr const char* kReplaced = "The lent file was replaced.";
constexpr const char* kGone = "it was removed or replaced";

struct FileId {
  dev_t device;
  ino_t inode;
  bool operator==(const FileId&) const = default;
};

std::optional<FileId> IdOf(const char* file) {
  struct stat status;
  if (lstat(file, &status) != 0) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

struct Loan {
  std::shared_ptr<SqliteConnection> connection;
  std::string file;
  FileId id;
};

// A connection is lent to the thread that lent it, which alone may use it; others open connections of their
// own.
thread_local std::optional<Loan> loan;
thread_local std::string last_error;
// Of the lent file as a whole; outlives the loan that met it.
thread_local std::string file_failure;

bool InBatch(const std::shared_ptr<SqliteConnection>& connection) {
  return BatchOpen() && loan && loan->connection == connection;
}

// One hand-out: the lent connection with settings of its own, as if it were a connection of its own. Handles
// that are still out when the lending ends keep the connection open.
class HandedOut : public DatabaseEngine {
 public:
  explicit HandedOut(std::shared_ptr<SqliteConnection> connection) : connection_(std::move(connection)) {}
  ~HandedOut() override;
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;

  [[nodiscard]] int type() const override { return connection_->type(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

 private:
  std::shared_ptr<SqliteConnection> connection_;
  bool case_sensitive_like_ = false;
  bool began_transaction_ = false;
};

// A transaction that an operation began and left open ends with its handle, as it would by closing the
// connection.
HandedOut::~HandedOut() {
  if (!began_transaction_ || InBatch(connection_) || !connection_->InTransaction()) return;
  Contained(false, [&] {
    std::string ignored;
    return connection_->Run(kRollback, ignored);
  });
}

bool HandedOut::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  // Alone outside its batch a statement would be kept although the batch cannot be.
  if (InBatch(connection_) && !connection_->InTransaction()) {
    error = "The batch was rolled back.";
    return false;
  }
  if (connection_->case_sensitive_like() != case_sensitive_like_ &&
      !connection_->SetCaseSensitiveLike(case_sensitive_like_, error)) {
    return false;
  }
  const bool in_transaction = connection_->InTransaction();
  const bool done = connection_->Execute(sql, window, result, error);
  case_sensitive_like_ = connection_->case_sensitive_like();
  began_transaction_ = connection_->InTransaction() && (began_transaction_ || !in_transaction);
  return done;
}

int Fail(std::string_view reason) {
  last_error = reason;
  return -1;
}

bool WasReplaced() {
  return IdOf(loan->file.c_str()) != loan->id;
}

void NoteFileFailure() {
  if (!loan || !file_failure.empty()) return;
  file_failure = loan->connection->file_failure();
  if (file_failure.empty() && WasReplaced()) file_failure = kGone;
}

bool RollBack(SqliteConnection& connection) {
  std::string ignored;
  return Contained(false, [&] { return connection.Run(kRollback, ignored); });
}

// The batch is over and nothing of it is kept, so the side files stay for the next try.
void AbandonBatch() {
  SetBatchOpen(false);
  ForgetPendingRemovals(0);
  if (!loan->connection->InTransaction() || RollBack(*loan->connection)) return;
  NoteFileFailure();
  // The transaction would take what follows in and keep everybody else out; it ends with its connection.
  loan.reset();
}

// The batch is kept already: whatever happens here, it has succeeded. A file that cannot be removed is taken
// into the database again the next time, with the same result.
void RemoveConsumedFiles() {
  for (const PendingRemoval& removal : TakePendingRemovals()) {
    Contained(-1, [&] { return RemoveBeneathNow(removal.root, removal.path, removal.state); });
  }
}

void EndLoan() {
  if (!loan) return;
  if (BatchOpen()) AbandonBatch();
  loan.reset();
}

int Lend(const char* file) {
  EndLoan();
  const std::optional<FileId> before = IdOf(file);
  if (!before) return Fail(std::strerror(errno));
  std::shared_ptr<SqliteConnection> connection =
      SqliteConnection::Open(file, SqliteFile::kMustExist, last_error);
  if (connection == nullptr || !connection->Run(kLendSetup, last_error)) return -1;
  if (IdOf(file) != before) return Fail("The file was replaced while it was opened.");
  connection->KeepStatements();
  loan = Loan{std::move(connection), file, *before};
  file_failure.clear();
  return 0;
}

int BeginBatch() {
  if (!loan) return Fail("No connection is lent.");
  if (BatchOpen()) return Fail("A batch is open.");
  // What follows would open the file that stands there now, and not be part of the batch.
  if (WasReplaced()) return Fail(kReplaced);
  if (!loan->connection->Run(kBegin, last_error)) return -1;
  SetBatchOpen(true);
  return 0;
}

int Commit() {
  if (!loan->connection->InTransaction()) return Fail("The batch was rolled back.");
  // It would be kept in a file that nobody finds, and the side files would be gone.
  if (WasReplaced()) return Fail(kReplaced);
  return loan->connection->Run(kCommit, last_error) ? 0 : -1;
}

int CommitBatch() {
  if (!loan || !BatchOpen()) return Fail("No batch is open.");
  if (Contained(-1, Commit) != 0) {
    AbandonBatch();
    return -1;
  }
  SetBatchOpen(false);
  RemoveConsumedFiles();
  return 0;
}

}  // namespace

std::unique_ptr<DatabaseEngine> HandOutLent(const char* file) {
  if (!loan || IdOf(file) != loan->id) return nullptr;
  return std::make_unique<HandedOut>(loan->connection);
}

int KAVODBLend(const char* file) {
  return Contained(-1, [&] { return file != nullptr ? Lend(file) : Fail("The file is null."); });
}

void KAVODBLendEnd() {
  Contained(0, [] {
    EndLoan();
    return 0;
  });
}

int KAVODBBatchBegin() {
  return Contained(-1, BeginBatch);
}
int KAVODBBatchCommit() {
  return Contained(-1, CommitBatch);
}

void KAVODBBatchRollback() {
  if (loan && BatchOpen()) AbandonBatch();
}

int KAVODBBatchMark() {
  return static_cast<int>(PendingRemovalCount());
}
void KAVODBBatchForgetRemovals(int mark) {
  if (mark >= 0) ForgetPendingRemovals(static_cast<std::size_t>(mark));
}

const char* KAVODBLentErrorGet() {
  return last_error.c_str();
}
const char* KAVODBLentFailureGet() {
  Contained(0, [] {
    NoteFileFailure();
    return 0;
  });
  return file_failure.empty() ? nullptr : file_failure.c_str();
}
