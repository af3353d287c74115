#include "changes/loss_brake.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sstream>
#include <utility>

#include "changes/recent_losses.h"
#include "common/name_hash.h"

namespace {

constexpr std::size_t kMostGone = 100;
constexpr std::size_t kMostGonePart = 10;
constexpr std::int64_t kPatienceSeconds = 3600;

std::int64_t Now() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

// Whatever order they come in.
std::string HashOf(std::vector<std::string> paths) {
  std::sort(paths.begin(), paths.end());
  NameHash hash;
  for (const std::string& path : paths) {
    hash.Add(path);
    hash.Add('\0');
  }
  return hash.Text();
}

// An earlier scan has found the same, long enough ago; else this one is remembered.
bool FoundBefore(const LossQuestion& question, Catalogue& catalogue) {
  const std::string hash = HashOf(question.gone);
  const std::int64_t now = Now();
  std::istringstream earlier(catalogue.facts().Find(question.fact).value_or(""));
  std::string earlier_hash;
  std::int64_t earlier_time = 0;
  // A time to come was told by a clock that was wrong.
  if (earlier >> earlier_hash >> earlier_time && earlier_hash == hash && earlier_time <= now) {
    return now - earlier_time >= kPatienceSeconds;
  }
  catalogue.facts().Put(question.fact, hash + " " + std::to_string(now));
  return false;
}

struct Extent {
  std::size_t gone;
  std::size_t before;  // within the last hour
  std::size_t recorded;
  bool IsMany() const {
    const std::size_t all = gone + before;
    return gone > 0 && all > kMostGone && all > (recorded + before) / kMostGonePart;
  }
  std::string Text() const {
    const std::string text = std::to_string(gone) + " of " + std::to_string(recorded) + " files are gone";
    return before == 0 ? text : text + ", and " + std::to_string(before) + " went within the hour before";
  }
};

// What is not believed however little it is.
LossVerdict OutOfReachAsAWhole(const LossQuestion& question) {
  if (question.accepted || (question.gone.empty() && question.gone_folders == 0)) return {};
  if (question.root_empty) return {true, false, "the folder is empty"};
  if (question.root_changed) return {true, false, "the folder is not the one that was indexed before"};
  return {};
}

}  // namespace

LossVerdict AskLossBrake(const LossQuestion& question, Catalogue& catalogue) {
  const LossVerdict verdict = OutOfReachAsAWhole(question);
  const Extent extent{question.gone.size(), RecentLosses(catalogue).Count(), question.recorded};
  const bool many = !verdict.holds && !question.accepted && extent.IsMany();
  if (!many && !question.is_part && catalogue.facts().Find(question.fact))
    catalogue.facts().Remove(question.fact);
  if (!many) return {verdict.holds, question.accepted, verdict.reason};
  if (!question.is_part && FoundBefore(question, catalogue)) return {false, true, ""};
  return {true, false, extent.Text()};
}
