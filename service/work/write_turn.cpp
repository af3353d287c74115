#include "work/write_turn.h"

#include <errno.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

namespace {

// Shared between processes, and given up by one that ends without a word.
bool Initialize(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) return false;
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  const bool done = pthread_mutex_init(mutex, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  return done;
}

timespec MomentIn(std::chrono::milliseconds time) {
  const auto until = (std::chrono::steady_clock::now() + time).time_since_epoch();  // CLOCK_MONOTONIC
  const auto seconds = std::chrono::floor<std::chrono::seconds>(until);
  return {static_cast<time_t>(seconds.count()),
          static_cast<long>(std::chrono::nanoseconds(until - seconds).count())};
}

// False when it is somebody else's for longer than PATIENCE.
bool Lock(pthread_mutex_t* mutex, std::chrono::milliseconds patience) {
  const timespec until = MomentIn(patience);
  const int result = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
  if (result == EOWNERDEAD) pthread_mutex_consistent(mutex);
  return result == 0 || result == EOWNERDEAD;
}

}  // namespace

FileDescriptor WriteTurn::MakeShared() {
  FileDescriptor memory(memfd_create("lumivault-turn", MFD_CLOEXEC));
  if (!memory || ftruncate(memory.get(), sizeof(pthread_mutex_t)) != 0) return {};
  const Mapped mutex = Map(memory.get());
  return mutex != nullptr && Initialize(mutex.get()) ? std::move(memory) : FileDescriptor();
}

WriteTurn::WriteTurn(int shared) : mutex_(Map(shared)) {}

WriteTurn::Mapped WriteTurn::Map(int shared) {
  void* address = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED, shared, 0);
  return Mapped(address != MAP_FAILED ? static_cast<pthread_mutex_t*>(address) : nullptr);
}

void WriteTurn::Unmap::operator()(pthread_mutex_t* mutex) const {
  munmap(mutex, sizeof(pthread_mutex_t));
}

WriteTurn::Holder::Holder(const WriteTurn& turn, std::chrono::milliseconds patience) {
  if (turn.mutex_ != nullptr && Lock(turn.mutex_.get(), patience)) held_ = turn.mutex_.get();
}

WriteTurn::Holder::~Holder() {
  if (held_ != nullptr) pthread_mutex_unlock(held_);
}
