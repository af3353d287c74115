#ifndef SERVICE_WRITE_TURN_H_
#define SERVICE_WRITE_TURN_H_

#include "file_descriptor.h"

// Whose turn it is among the workers of one run to write. A worker that waits here goes on the moment that
// the one before it is done; left to the database's own lock, it would sleep and try again, for longer each
// time. Other programs know nothing of the turn, and the lock of the database stands as ever.
class WriteTurn {
 public:
  // What the workers share; empty when the system has none to give.
  static FileDescriptor MakeShared();

  // A worker's part in what SHARED, borrowed, is. Without one it is always its turn.
  explicit WriteTurn(int shared);

  // Holds the turn as long as it lives. The end of its process gives it up too.
  class Holder {
   public:
    explicit Holder(const WriteTurn& turn);
    ~Holder();
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

   private:
    const WriteTurn& turn_;
  };

 private:
  FileDescriptor lock_;
};

#endif  // SERVICE_WRITE_TURN_H_
