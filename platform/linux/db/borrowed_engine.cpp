#include "db/borrowed_engine.h"

#include "core/error.h"

BorrowedEngine::~BorrowedEngine() {
  if (!began_transaction_ || shared_->in_batch() || !shared_->InTransaction()) return;
  WithoutExceptions(false, [&] {
    std::string ignored;
    return shared_->Run(kRollBackBatch, ignored);
  });
}

bool BorrowedEngine::Execute(const char* sql, Window window, ResultSet& result, std::string& error) {
  const bool in_transaction = shared_->InTransaction();
  const bool done = shared_->Execute(sql, window, result, error);
  began_transaction_ = shared_->InTransaction() && (began_transaction_ || !in_transaction);
  return done;
}
