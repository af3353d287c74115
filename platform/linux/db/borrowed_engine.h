#ifndef PLATFORM_LINUX_DB_BORROWED_ENGINE_H_
#define PLATFORM_LINUX_DB_BORROWED_ENGINE_H_

#include <memory>
#include <string>
#include <utility>

#include "db/engine.h"

// The statements and the answer that both engines have for batches.
inline constexpr const char* kCommitBatch = "COMMIT";
inline constexpr const char* kRollBackBatch = "ROLLBACK";
inline constexpr const char* kBatchRolledBack = "The batch was rolled back.";

// A lent connection and the batch on it, which the loan and all that borrow the connection share. Used by the
// connection's thread.
class SharedBatch {
 public:
  SharedBatch() = default;
  SharedBatch(const SharedBatch&) = delete;
  SharedBatch& operator=(const SharedBatch&) = delete;
  virtual ~SharedBatch() = default;

  [[nodiscard]] virtual int type() const = 0;
  // The loan has begun a batch and not ended it, whatever has become of its transaction.
  [[nodiscard]] virtual bool in_batch() const = 0;
  [[nodiscard]] virtual bool InTransaction() const = 0;
  // As DatabaseEngine::Execute, for a statement of a borrower.
  [[nodiscard]] virtual bool Execute(const char* sql, Window window, ResultSet& result,
                                     std::string& error) = 0;
  // For a statement of the loan's own, without rows.
  [[nodiscard]] virtual bool Run(const char* sql, std::string& error) = 0;
};

// What is handed out: the lent connection as if it were one of the borrower's own. A transaction that the
// borrower began and left open ends with it, as it would by closing the connection.
class BorrowedEngine : public DatabaseEngine {
 public:
  explicit BorrowedEngine(std::shared_ptr<SharedBatch> shared) : shared_(std::move(shared)) {}
  ~BorrowedEngine() override;
  BorrowedEngine(const BorrowedEngine&) = delete;
  BorrowedEngine& operator=(const BorrowedEngine&) = delete;

  [[nodiscard]] int type() const override { return shared_->type(); }
  [[nodiscard]] bool Execute(const char* sql, Window window, ResultSet& result, std::string& error) override;

 private:
  std::shared_ptr<SharedBatch> shared_;
  bool began_transaction_ = false;
};

#endif  // PLATFORM_LINUX_DB_BORROWED_ENGINE_H_
