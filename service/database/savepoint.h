#ifndef SERVICE_DATABASE_SAVEPOINT_H_
#define SERVICE_DATABASE_SAVEPOINT_H_

#include "database/database_reader.h"
#include "database/transaction.h"

// A part of TRANSACTION, which is open on DATABASE, that is undone as a whole unless it is kept. One that
// cannot be undone spoils the transaction. Both outlive it.
class Savepoint {
 public:
  Savepoint(DatabaseReader& database, Transaction& transaction)
      : database_(database), transaction_(transaction), set_(database.Run(kSet)) {}
  ~Savepoint() {
    if (set_ && !database_.Run(kUndo)) transaction_.Spoil();
  }
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  bool set() const { return set_; }
  // False when it cannot be kept; it is undone then.
  [[nodiscard]] bool Keep() {
    if (!database_.Run(kKeep)) return false;
    set_ = false;
    return true;
  }

 private:
  // Where one lies in another, both engines take the inner one of the same name.
  static constexpr const char* kSet = "SAVEPOINT part";
  static constexpr const char* kUndo = "ROLLBACK TO part; RELEASE part";
  static constexpr const char* kKeep = "RELEASE part";

  DatabaseReader& database_;
  Transaction& transaction_;
  bool set_;
};

#endif  // SERVICE_DATABASE_SAVEPOINT_H_
