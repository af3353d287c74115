#include "loss_brake.h"

#include <chrono>
#include <cstdint>
#include <sstream>

namespace {

constexpr const char* kLossFact = "loss";
constexpr std::size_t kMostGone = 100;
constexpr std::size_t kMostGonePart = 10;
constexpr std::int64_t kPatienceSeconds = 3600;
// FNV-1a, 64 bits.
constexpr std::uint64_t kHashStart = 0xcbf29ce484222325U;
constexpr std::uint64_t kHashFactor = 0x100000001b3U;

std::int64_t Now() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

std::string HashOf(const std::vector<std::string>& paths) {
  std::uint64_t hash = kHashStart;
  for (const std::string& path : paths) {
    for (const char c : path) hash = (hash ^ static_cast<unsigned char>(c)) * kHashFactor;
    hash = hash * kHashFactor;
  }
  std::ostringstream text;
  text << std::hex << hash;
  return text.str();
}

// An earlier scan has found the same, long enough ago; else this one is remembered.
bool FoundBefore(const std::vector<std::string>& gone, Catalogue& catalogue) {
  const std::string hash = HashOf(gone);
  std::istringstream earlier(catalogue.Fact(kLossFact).value_or(""));
  std::string earlier_hash;
  std::int64_t earlier_time = 0;
  if (earlier >> earlier_hash >> earlier_time && earlier_hash == hash) {
    return Now() - earlier_time >= kPatienceSeconds;
  }
  catalogue.PutFact(kLossFact, hash + " " + std::to_string(Now()));
  return false;
}

}  // namespace

LossVerdict JudgeLoss(const LossQuestion& question, Catalogue& catalogue) {
  if (question.gone.empty() || question.accepted) return {};
  if (question.root_empty) return {true, "the folder is empty"};
  if (question.root_changed) return {true, "the folder is not the one that was indexed before"};
  if (question.device_changed) return {true, "a folder is on another device than before"};
  const bool many =
      question.gone.size() > kMostGone && question.gone.size() > question.recorded / kMostGonePart;
  if (!many || FoundBefore(question.gone, catalogue)) return {};
  return {true, std::to_string(question.gone.size()) + " of " + std::to_string(question.recorded) +
                    " files are gone"};
}
