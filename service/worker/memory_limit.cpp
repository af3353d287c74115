#include "worker/memory_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <optional>

namespace {

constexpr rlim_t kMegabyte = rlim_t{1} << 20;
constexpr std::uint64_t kLargestMapping = std::uint64_t{4} << 30;

rlim_t limit = 0;                      // of this process
std::optional<std::uint64_t> allowed;  // mapped bytes, by the last call

}  // namespace

void LimitMemory(unsigned megabytes) {
  limit = megabytes * kMegabyte;
  allowed.reset();
  AllowMapping(0);
}

void AllowMapping([[maybe_unused]] std::uint64_t bytes) {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  if (limit == 0 || allowed == bytes) return;
  allowed = bytes;
  // The hard one is of whoever has started the run; nobody but root may raise it.
  rlimit both{};
  if (getrlimit(RLIMIT_AS, &both) != 0) return;
  const rlim_t whole = limit + std::min<std::uint64_t>(bytes, kLargestMapping);
  both.rlim_cur = std::min<rlim_t>(whole, both.rlim_max);
  setrlimit(RLIMIT_AS, &both);
#endif
}
