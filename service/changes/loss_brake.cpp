#include "changes/loss_brake.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sstream>
#include <utility>

#include "common/name_hash.h"

namespace {

constexpr std::size_t kMostGone = 100;
constexpr std::size_t kMostGonePart = 10;
constexpr std::int64_t kPatienceSeconds = 3600;
constexpr const char* kPartsFact = "loss of parts";

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

// What parts have lost since an hour or less.
struct LossOfParts {
  std::size_t files = 0;
  std::int64_t since = 0;
};

LossOfParts LossOfPartsIn(Catalogue& catalogue) {
  std::istringstream recorded(catalogue.facts().Find(kPartsFact).value_or(""));
  LossOfParts loss;
  const std::int64_t now = Now();
  const bool counts =
      recorded >> loss.files >> loss.since && loss.since <= now && now - loss.since < kPatienceSeconds;
  return counts ? loss : LossOfParts{0, now};
}

struct Extent {
  std::size_t gone;
  std::size_t of;
  bool IsMany() const { return gone > kMostGone && gone > of / kMostGonePart; }
};

Extent ExtentOf(const LossQuestion& question, Catalogue& catalogue) {
  const std::size_t before = question.gone.empty() ? 0 : LossOfPartsIn(catalogue).files;
  return {question.gone.size() + before, question.recorded + before};
}

// What is not believed however little it is.
LossVerdict OutOfReachAsAWhole(const LossQuestion& question) {
  if (question.accepted || (question.gone.empty() && question.gone_folders == 0)) return {};
  if (question.root_empty) return {true, "the folder is empty"};
  if (question.root_changed) return {true, "the folder is not the one that was indexed before"};
  return {};
}

}  // namespace

LossVerdict AskLossBrake(const LossQuestion& question, Catalogue& catalogue) {
  LossVerdict verdict = OutOfReachAsAWhole(question);
  if (question.accepted && catalogue.facts().Find(kPartsFact)) catalogue.facts().Remove(kPartsFact);
  const Extent extent = ExtentOf(question, catalogue);
  const bool many = !verdict.holds && !question.accepted && extent.IsMany();
  if (!many && !question.is_part && catalogue.facts().Find(question.fact))
    catalogue.facts().Remove(question.fact);
  if (!many || (!question.is_part && FoundBefore(question, catalogue))) return verdict;
  return {true, std::to_string(extent.gone) + " of " + std::to_string(extent.of) + " files are gone"};
}

void NoteLossOfPart(std::size_t files, Catalogue& catalogue) {
  if (files == 0) return;
  LossOfParts loss = LossOfPartsIn(catalogue);
  loss.files += files;
  catalogue.facts().Put(kPartsFact, std::to_string(loss.files) + " " + std::to_string(loss.since));
}
