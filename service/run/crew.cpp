#include "run/crew.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int kMostFailedStarts = 3;

}  // namespace

Outcome<Done> Crew::GrowTo(std::size_t count, WorkerLinkListener& listener) {
  while (links_.size() < count && (links_.empty() || failed_starts_ < kMostFailedStarts)) {
    auto started = starter_.Start(database_.value_or(""));
    if (!started) {
      ++failed_starts_;
      if (links_.empty()) return started.failure();
      break;
    }
    const auto opened = (*started)->opened();
    links_.push_back(std::make_unique<WorkerLink>(std::move(*started), file_timeout_, listener, loop_));
    if (opened) listener.Opened(*opened);
  }
  return Done{};
}

Crew::Opening Crew::NoteOpened(const std::string& database) {
  failed_starts_ = 0;
  if (database_) return database == *database_ ? Opening::kSame : Opening::kOther;
  database_ = database;
  return Opening::kFirst;
}

bool Crew::NoteFailedStart() {
  return ++failed_starts_ >= kMostFailedStarts;
}

bool Crew::HasBusy() const {
  return std::any_of(links_.begin(), links_.end(), [](const auto& link) { return link->busy(); });
}

void Crew::Remove(const WorkerLink& link) {
  std::erase_if(links_, [&](const auto& other) { return other.get() == &link; });
}

void Crew::RemoveThoseWithOpenItems() {
  std::erase_if(links_, [](const auto& link) { return link->has_open_items(); });
}

void Crew::LeaveIdle() {
  std::erase_if(links_, [&](const auto& link) { return link->idle() && link->Leave(starter_, *database_); });
}

void Crew::StopAll() {
  for (const auto& link : links_) link->Stop();
}

void Crew::EndAllBy(Moment until) {
  for (const auto& link : links_) link->EndBy(until);
}
