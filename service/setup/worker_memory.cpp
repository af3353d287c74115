#include "setup/worker_memory.h"

#include <array>
#include <charconv>
#include <string_view>

#include "base/fixed_path.h"
#include "platform/files.h"

namespace {

constexpr int kValueSize = 32;

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
