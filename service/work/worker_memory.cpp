#include "work/worker_memory.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "base/fixed_path.h"
#include "platform/files.h"

namespace {

constexpr int kValueSize = 32;
constexpr rlim_t kMegabyte = rlim_t{1} << 20;

constexpr std::uint64_t kLargestMapping = std::uint64_t{4} << 30;

rlim_t limit = 0;                      // of this process
std::optional<std::uint64_t> allowed;  // mapped bytes, by the last call

std::optional<unsigned> Number(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

bool IsWorkerMemory(unsigned megabytes) {
  return megabytes == 0 || (megabytes >= kLeastWorkerMemory && megabytes <= kMostWorkerMemory);
}

Outcome<unsigned> WorkerMemory(const StateRoot& root, const std::optional<unsigned>& named) {
  if (named) return *named;
  const auto setting = MemoryOfStateFolder(root);
  if (!setting) return setting.failure();
  return setting->value_or(kDefaultWorkerMemory);
}

Outcome<std::optional<unsigned>> MemoryOfStateFolder(const StateRoot& root) {
  std::array<char, kValueSize> value{};
  const std::string settings = root.Place(kPackageSettings);
  if (RLIBCFileGetKeyValue(settings.c_str(), kWorkerMemorySetting, value.data(), kValueSize, 0) < 0)
    return std::optional<unsigned>();
  const auto number = Number(value.data());
  if (number && IsWorkerMemory(*number)) return number;
  return Failure{ExitStatus::kConfiguration,
                 settings + ": " + kWorkerMemorySetting + " is not 0 and no number of MiB from " +
                     std::to_string(kLeastWorkerMemory) + " to " + std::to_string(kMostWorkerMemory)};
}

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
