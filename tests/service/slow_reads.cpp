// Put in front of the system's calls by LD_PRELOAD, as on a disk that has to start: the first large read of a
// file, or the one behind SLOW_READ_AFTER others, takes SLOW_READ_SECONDS. Nobody waits for it: the process's
// clock goes on. The file STUCK_READ_NAME never answers who asks for its first four bytes.
#include <dlfcn.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// What the reader of videos asks for at a time.
constexpr std::size_t kLargeRead = 65536;

time_t ahead = 0;  // seconds

long FromEnvironment(const char* name, long otherwise) {
  const char* text = getenv(name);
  return text != nullptr ? strtol(text, nullptr, 10) : otherwise;
}

void TakeTime(std::size_t size) {
  static long left = FromEnvironment("SLOW_READ_AFTER", 0);
  if (size == kLargeRead && left-- == 0) ahead += FromEnvironment("SLOW_READ_SECONDS", 0);
}

void GetStuck(int descriptor, std::size_t size) {
  constexpr std::size_t kStart = 4;
  const char* name = getenv("STUCK_READ_NAME");
  if (size != kStart || name == nullptr) return;
  std::array<char, 4096> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  if (readlink(link.c_str(), path.data(), path.size() - 1) <= 0) return;
  while (std::string_view(path.data()).ends_with(name)) pause();
}

ssize_t Read(int descriptor, void* data, std::size_t size, off64_t offset) {
  using Function = ssize_t (*)(int, void*, std::size_t, off64_t);
  TakeTime(size);
  GetStuck(descriptor, size);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pread64"))(descriptor, data, size, offset);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) ssize_t pread64(int descriptor, void* data, std::size_t size,
                                                       off64_t offset) {
  return Read(descriptor, data, size, offset);
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) {
  using Function = int (*)(clockid_t, timespec*);
  const int result = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "clock_gettime"))(clock, time);
  if (result == 0 && clock == CLOCK_MONOTONIC) time->tv_sec += ahead;
  return result;
}
}
