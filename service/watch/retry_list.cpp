#include "watch/retry_list.h"

#include <chrono>

#include "base/path_below.h"
#include "common/path_parts.h"

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostPaths = 1'000;
constexpr milliseconds kFirstRetry{100};
constexpr milliseconds kMostRetry{300'000};

}  // namespace

void RetryList::NoteRun(const std::set<std::string>& undone, const WalkScope& scope, Moment now) {
  const auto everything = entries_.find("");
  Entry all = everything == entries_.end() ? Entry{} : everything->second;
  std::erase_if(entries_,
                [&](const auto& one) { return scope.Contains(one.first) && !undone.contains(one.first); });
  for (const std::string& path : undone) SetDue(entries_[path], now);
  if (entries_.size() <= kMostPaths) return;
  SetDue(all, now);
  entries_ = {{"", all}};
}

void RetryList::SetDue(Entry& entry, Moment now) {
  entry.due = now + entry.patience.Next(kFirstRetry, kMostRetry);
}

std::optional<Moment> RetryList::NextDue() const {
  std::optional<Moment> next;
  for (const auto& [path, entry] : entries_) {
    if (entry.due && (!next || *entry.due < *next)) next = entry.due;
  }
  return next;
}

std::vector<std::string> RetryList::Take(Moment now) {
  std::vector<std::string> taken;
  for (auto& [path, entry] : entries_) {
    if (!entry.due || *entry.due > now) continue;
    entry.due.reset();
    taken.push_back(path);
  }
  return taken;
}

bool RetryList::HasBelow(const std::string& folder) const {
  const auto first = entries_.lower_bound(folder + "/");
  return first != entries_.end() && LiesBelow(first->first, folder);
}

std::vector<std::string> RetryList::Above(const std::string& path) const {
  std::vector<std::string> found;
  for (std::string above = FolderOf(path); !above.empty(); above = FolderOf(above)) {
    if (entries_.contains(above)) found.push_back(above);
  }
  return found;
}
