// The write transactions of a worker. What a batch does to a database, and the side files that it consumes
// on the way, is kept together or not at all.
#ifndef SERVICE_DATABASE_TRANSACTION_H_
#define SERVICE_DATABASE_TRANSACTION_H_

#include <cstdint>
#include <optional>
#include <string>

#include "library/generation.h"

// Where they are made: the connection that the thread has lent, or in a test what stands for it. It outlives
// its transactions; one thread uses it.
class WriteDatabase {
 public:
  WriteDatabase() = default;
  WriteDatabase(const WriteDatabase&) = delete;
  WriteDatabase& operator=(const WriteDatabase&) = delete;
  virtual ~WriteDatabase() = default;

  // What people know it by.
  [[nodiscard]] virtual std::string name() const = 0;

  // One transaction at a time. False: none is open.
  [[nodiscard]] virtual bool Begin() = 0;
  // Gives it, within the transaction, the next generation, in the name of NAME. Nothing: not to be kept.
  [[nodiscard]] virtual std::optional<std::uint64_t> RaiseGeneration(const RunName& name) = 0;
  // Keeps the transaction, and removes the side files that it has consumed. False: nothing of it was kept,
  // and it is over.
  [[nodiscard]] virtual bool Commit() = 0;
  // Nothing of it is kept, whatever this meets. Harmless when none is open.
  virtual void RollBack() noexcept = 0;

  // How many removals wait for the commit, and: all behind the first MARK are forgotten.
  [[nodiscard]] virtual int RemovalMark() = 0;
  virtual void ForgetRemovals(int mark) noexcept = 0;

  // Why the last of these calls failed.
  [[nodiscard]] virtual std::string error() const = 0;
  // Why nothing more can be done with the database, whatever is asked of it; nothing while it is well. Once
  // told, it holds.
  [[nodiscard]] virtual std::optional<std::string> LastingFailure() = 0;
};

// One transaction. It is over when the object is, on every path: taken back, unless Commit has kept it.
class Transaction {
 public:
  // DATABASE outlives it.
  explicit Transaction(WriteDatabase& database) : database_(database), open_(database.Begin()) {}
  ~Transaction() {
    if (open_) database_.RollBack();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // False when it could not be begun, or has been committed.
  explicit operator bool() const { return open_; }

  // Something has been left in it that must not be kept: no commit will.
  void Spoil() { spoiled_ = true; }
  bool spoiled() const { return spoiled_; }

  // Keeps it as a generation of its own, which NAME's run has made. Nothing: nothing of it is kept.
  [[nodiscard]] std::optional<std::uint64_t> Commit(const RunName& name) {
    const auto generation = spoiled_ ? std::nullopt : database_.RaiseGeneration(name);
    if (!generation || !database_.Commit()) return std::nullopt;
    open_ = false;
    return generation;
  }

 private:
  friend class ConsumedFiles;

  WriteDatabase& database_;
  bool open_;
  bool spoiled_ = false;
};

// The side files that calls consume while it lives. They stay, unless it is told that their values are in
// rows of the transaction.
class ConsumedFiles {
 public:
  explicit ConsumedFiles(Transaction& transaction)
      : database_(transaction.database_), mark_(database_.RemovalMark()) {}
  ~ConsumedFiles() {
    if (!kept_) database_.ForgetRemovals(mark_);
  }
  ConsumedFiles(const ConsumedFiles&) = delete;
  ConsumedFiles& operator=(const ConsumedFiles&) = delete;

  void AreInRows() { kept_ = true; }

 private:
  WriteDatabase& database_;
  int mark_;
  bool kept_ = false;
};

#endif  // SERVICE_DATABASE_TRANSACTION_H_
