// The interface of lending: each call guards the session of its thread (db/session.h).
#include "platform/connection_lending.h"

#include <string>

#include "core/error.h"
#include "db/session.h"

namespace {

// 0 where ACT, which is given the session, succeeds, else -1.
template <typename Act>
int ResultOf(Act&& act) {
  return WithoutExceptions(-1, [&] { return act(Session::OfThread()) ? 0 : -1; });
}

}  // namespace

int KAVODBLend(const char* file) {
  return ResultOf([&](Session& session) {
    if (file == nullptr) return session.Refuse("The file is null.");
    return session.Lend([&](std::string& error) { return LendSqlite(file, error); });
  });
}

int KAVODBLendDatabase(const char* user, const char* database) {
  return ResultOf([&](Session& session) {
    if (user == nullptr || database == nullptr) return session.Refuse("The user or the database is null.");
    return session.Lend([&](std::string& error) { return LendPostgres(user, database, error); });
  });
}

void KAVODBLendEnd() {
  ResultOf([](Session& session) {
    session.EndLending();
    return true;
  });
}

int KAVODBBatchBegin() {
  return ResultOf([](Session& session) { return session.BeginBatch(); });
}
int KAVODBBatchCommit() {
  return ResultOf([](Session& session) { return session.CommitBatch(); });
}

void KAVODBBatchRollback() {
  ResultOf([](Session& session) {
    session.RollBackBatch();
    return true;
  });
}

int KAVODBBatchMark() {
  const PendingRemovals* pending = Session::OfThread().pending();
  return pending != nullptr ? static_cast<int>(pending->count()) : 0;
}
void KAVODBBatchForgetRemovals(int mark) {
  PendingRemovals* pending = Session::OfThread().pending();
  if (pending != nullptr && mark >= 0) pending->KeepFirst(static_cast<std::size_t>(mark));
}

const char* KAVODBLentErrorGet() {
  return Session::OfThread().lending_error().c_str();
}
const char* KAVODBLentFailureGet() {
  return WithoutExceptions<const char*>(nullptr, [] {
    const std::string& failure = Session::OfThread().LastingFailure();
    return failure.empty() ? nullptr : failure.c_str();
  });
}
