#include "worker/lent_database.h"

#include "database/library_facts.h"
#include "platform/connection_lending.h"

bool LentDatabase::Begin() {
  return KAVODBBatchBegin() == 0;
}

std::optional<std::uint64_t> LentDatabase::RaiseGeneration(const RunName& name) {
  return ::RaiseGeneration(rows_.Database(), name);
}

bool LentDatabase::Commit() {
  return KAVODBBatchCommit() == 0;
}

void LentDatabase::RollBack() noexcept {
  KAVODBBatchRollback();
}

int LentDatabase::RemovalMark() {
  return KAVODBBatchMark();
}

void LentDatabase::ForgetRemovals(int mark) noexcept {
  KAVODBBatchForgetRemovals(mark);
}

std::string LentDatabase::error() const {
  return KAVODBLentErrorGet();
}

std::optional<std::string> LentDatabase::LastingFailure() {
  const char* why = KAVODBLentFailureGet();
  return why != nullptr ? std::optional<std::string>(why) : std::nullopt;
}
