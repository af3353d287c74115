#include "core/file_state.h"

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::int64_t kFineClock = 20'000'000;  // kernels stamp files by the timer tick, 10 ms at most
constexpr std::int64_t kCoarseClock = 2 * kNanoseconds;  // file systems that store whole seconds, or two

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * kNanoseconds + time.tv_nsec;
}

}  // namespace

FileState::FileState(const struct stat& status)
    : id(IdOf(status)),
      size(status.st_size),
      modified(Nanoseconds(status.st_mtim)),
      changed(Nanoseconds(status.st_ctim)) {}

bool MayChangeUnseen(const FileState& state) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  const std::int64_t clock = state.changed % kNanoseconds == 0 ? kCoarseClock : kFineClock;
  return state.changed > Nanoseconds(now) - clock;
}
