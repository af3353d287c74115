#include "db/lending.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "core/beneath.h"
#include "core/error.h"
#include "core/one_line.h"
#include "core/pending_removals.h"
#include "db/loan.h"
#include "platform/connection_lending.h"

namespace {

// A connection is lent to the thread that lent it, which alone may use it; others open connections of their
// own.
thread_local std::unique_ptr<Loan> loan;
thread_local std::string last_error;
// Of the lent database as a whole; outlives the loan that met it.
thread_local std::string lasting_failure;

int Fail(std::string_view reason) {
  last_error = reason;
  return -1;
}

void NoteFailure() {
  if (loan != nullptr && lasting_failure.empty()) lasting_failure = loan->LastingFailure();
}

// The batch is over and nothing of it is kept, so the side files stay for the next try.
void AbandonBatch() {
  SetBatchOpen(false);
  ForgetPendingRemovals(0);
  if (Contained(false, [] { return loan->RollBack(); })) return;
  NoteFailure();
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
  if (loan == nullptr) return;
  if (BatchOpen()) AbandonBatch();
  loan.reset();
}

int Lend(const std::function<std::unique_ptr<Loan>()>& open) {
  EndLoan();
  loan = open();
  if (loan == nullptr) {
    MakeOneLine(last_error);
    return -1;
  }
  lasting_failure.clear();
  return 0;
}

int BeginBatch() {
  if (loan == nullptr) return Fail("No connection is lent.");
  if (BatchOpen()) return Fail("A batch is open.");
  if (!loan->Begin(last_error)) return -1;
  SetBatchOpen(true);
  return 0;
}

int CommitBatch() {
  if (loan == nullptr || !BatchOpen()) return Fail("No batch is open.");
  if (!Contained(false, [] { return loan->Commit(last_error); })) {
    AbandonBatch();
    return -1;
  }
  SetBatchOpen(false);
  RemoveConsumedFiles();
  return 0;
}

}  // namespace

std::unique_ptr<DatabaseEngine> HandOutLent(const char* user, const char* database) {
  return loan != nullptr ? loan->HandOut(user, database) : nullptr;
}

int KAVODBLend(const char* file) {
  return Contained(-1, [&] {
    if (file == nullptr) return Fail("The file is null.");
    return Lend([&] { return LendSqlite(file, last_error); });
  });
}

int KAVODBLendDatabase(const char* user, const char* database) {
  return Contained(-1, [&] {
    if (user == nullptr || database == nullptr) return Fail("The user or the database is null.");
    return Lend([&] { return LendPostgres(user, database, last_error); });
  });
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
  Contained(0, [] {
    if (loan != nullptr && BatchOpen()) AbandonBatch();
    return 0;
  });
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
    NoteFailure();
    return 0;
  });
  return lasting_failure.empty() ? nullptr : lasting_failure.c_str();
}
