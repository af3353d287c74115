#ifndef SERVICE_WORK_WRITE_TURN_H_
#define SERVICE_WORK_WRITE_TURN_H_

#include <pthread.h>

#include <chrono>
#include <memory>

#include "base/file_descriptor.h"

// Whose turn it is among the workers of one run to write. A worker that waits here goes on the moment that
// the one before it is done; left to the database's own lock, it would sleep and try again, for longer each
// time. Other programs know nothing of the turn, and the lock of the database stands as ever: a worker that
// has waited long goes on without its turn, so that none is held up by more than that lock.
class WriteTurn {
 public:
  // Many times what a transaction takes, and far less than a worker may be silent.
  static constexpr std::chrono::seconds kPatience{10};

  // What the workers share; empty when the system has none to give.
  static FileDescriptor MakeShared();

  // A worker's part in what SHARED, borrowed, is. Without one it is always its turn.
  explicit WriteTurn(int shared);

  // Has the turn as long as it lives. The end of its process gives it up too.
  class Holder {
   public:
    explicit Holder(const WriteTurn& turn, std::chrono::milliseconds patience = kPatience);
    ~Holder();
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

   private:
    pthread_mutex_t* held_ = nullptr;
  };

 private:
  struct Unmap {
    void operator()(pthread_mutex_t* mutex) const;
  };
  using Mapped = std::unique_ptr<pthread_mutex_t, Unmap>;

  static Mapped Map(int shared);

  Mapped mutex_;
};

#endif  // SERVICE_WORK_WRITE_TURN_H_
