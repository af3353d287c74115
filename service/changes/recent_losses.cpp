#include "changes/recent_losses.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>

namespace {

constexpr const char* kFact = "recent losses";
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kMinute = 60;

std::int64_t Now() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

}  // namespace

RecentLosses::RecentLosses(Catalogue& catalogue) : catalogue_(catalogue), now_(Now()) {
  std::istringstream recorded(catalogue.facts().Find(kFact).value_or(""));
  for (Loss loss; recorded >> loss.files >> loss.time;) {
    // A clock that was set back makes none undone.
    loss.time = std::min(loss.time, now_);
    if (now_ - loss.time < kHour) losses_.push_back(loss);
  }
}

std::size_t RecentLosses::Count() const {
  std::size_t files = 0;
  for (const Loss& loss : losses_) files += loss.files;
  return files;
}

void RecentLosses::Add(std::size_t files) {
  if (files == 0) return;
  if (losses_.empty() || now_ - losses_.back().time >= kMinute) losses_.push_back({0, now_});
  losses_.back().files += files;
  Record();
}

void RecentLosses::TakeBack(std::size_t files) {
  if (files == 0) return;
  for (auto loss = losses_.rbegin(); loss != losses_.rend(); ++loss) {
    const std::size_t taken = std::min(files, loss->files);
    loss->files -= taken;
    files -= taken;
  }
  Record();
}

void RecentLosses::Forget() {
  losses_.clear();
  if (catalogue_.facts().Find(kFact)) catalogue_.facts().Remove(kFact);
}

void RecentLosses::Record() {
  std::string fact;
  for (const Loss& loss : losses_) fact += std::to_string(loss.files) + " " + std::to_string(loss.time) + " ";
  catalogue_.facts().Put(kFact, fact);
}
