#ifndef SERVICE_WORKER_LENT_DATABASE_H_
#define SERVICE_WORKER_LENT_DATABASE_H_

#include <cstdint>
#include <optional>
#include <string>

#include "database/transaction.h"
#include "worker/row_lookup.h"

// The database of a library that this thread has lent (library_session.h, platform/connection_lending.h).
// Owns nothing: it ends no lending.
class LentDatabase : public WriteDatabase {
 public:
  // ROWS, which asks the same database, outlives it.
  LentDatabase(std::string name, RowLookup& rows) : name_(std::move(name)), rows_(rows) {}

  [[nodiscard]] std::string name() const override { return name_; }
  [[nodiscard]] bool Begin() override;
  [[nodiscard]] std::optional<std::uint64_t> RaiseGeneration(const RunName& name) override;
  [[nodiscard]] bool Commit() override;
  void RollBack() noexcept override;
  [[nodiscard]] int RemovalMark() override;
  void ForgetRemovals(int mark) noexcept override;
  [[nodiscard]] std::string error() const override;
  [[nodiscard]] std::optional<std::string> LastingFailure() override;

 private:
  std::string name_;
  RowLookup& rows_;
};

#endif  // SERVICE_WORKER_LENT_DATABASE_H_
