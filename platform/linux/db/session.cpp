#include "db/session.h"

#include <utility>

#include "core/error.h"
#include "core/find_below.h"
#include "core/one_line.h"

namespace {

// The batch is kept already: whatever happens here, it has succeeded. A file that cannot be removed is taken
// into the database again the next time, with the same result.
void RemoveConsumed(PendingRemovals removals) {
  for (const PendingRemoval& removal : removals.Take()) {
    WithoutExceptions(-1, [&] { return RemoveBelow(removal.root, removal.path, removal.state); });
  }
}

}  // namespace

Session& Session::OfThread() {
  static thread_local Session session;
  return session;
}

bool Session::Refuse(std::string_view reason) {
  lending_error_ = reason;
  return false;
}

bool Session::Lend(const Open& open) {
  EndLending();
  loan_ = open(lending_error_);
  if (loan_ == nullptr) {
    MakeOneLine(lending_error_);
    return false;
  }
  lasting_failure_.clear();
  return true;
}

void Session::EndLending() {
  RollBackBatch();
  loan_.reset();
}

std::unique_ptr<DatabaseEngine> Session::HandOut(const char* user, const char* database) {
  return loan_ != nullptr ? loan_->HandOut(user, database) : nullptr;
}

bool Session::BeginBatch() {
  if (loan_ == nullptr) return Refuse("No connection is lent.");
  if (batch_) return Refuse("A batch is open.");
  const auto begun =
      WithoutExceptions<std::optional<bool>>(std::nullopt, [&] { return loan_->Begin(lending_error_); });
  // Thrown out of it, nobody knows how far it came.
  if (!begun) AbandonBatch();
  if (begun == true) batch_.emplace();
  return begun == true;
}

bool Session::CommitBatch() {
  if (!batch_) return Refuse("No batch is open.");
  if (!WithoutExceptions(false, [&] { return loan_->Commit(lending_error_); })) {
    AbandonBatch();
    return false;
  }
  RemoveConsumed(*std::exchange(batch_, std::nullopt));
  return true;
}

void Session::RollBackBatch() {
  if (batch_) AbandonBatch();
}

// Nothing of the batch is kept, so the side files stay for the next try.
void Session::AbandonBatch() {
  batch_.reset();
  if (WithoutExceptions(false, [&] { return loan_->RollBack(); })) return;
  static_cast<void>(LastingFailure());
  // The transaction would take what follows in and keep everybody else out; it ends with its connection.
  loan_.reset();
}

const std::string& Session::LastingFailure() {
  if (loan_ != nullptr && lasting_failure_.empty()) lasting_failure_ = loan_->LastingFailure();
  return lasting_failure_;
}
