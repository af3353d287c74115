#include "watch/hint_store.h"

#include <algorithm>
#include <utility>

#include "common/path_parts.h"

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostNames = 10'000;  // of one folder
constexpr std::size_t kMostHints = 100'000;
// What is written, closed and written again without end is taken all the same.
constexpr milliseconds kLongestUnrest{30'000};
// A burst is waited for so many times as long as one name has to settle.
constexpr int kBurst = 5;
// What is due so soon goes along: the two names of a move are told one after the other.
constexpr int kSlackPart = 4;

}  // namespace

Moment HintStore::DueOf(const Waiting& waiting, HintState state, Moment now) const {
  const bool growing = state == HintState::kGrowing || (state == HintState::kTouched && waiting.growing);
  if (growing) return now + settling_.quiet;
  const milliseconds unrest = std::max(kLongestUnrest, settling_.settle);
  return std::min(now + settling_.settle, std::max(waiting.first + unrest, now));
}

void HintStore::SetDue(Waiting& waiting, bool is_new, Moment due) {
  if (!is_new) Drop(waiting);
  waiting.due = due;
  dues_.insert(due);
  if (!waiting.growing) latest_ = std::max(latest_, due);
}

void HintStore::Drop(const Waiting& waiting) {
  dues_.erase(dues_.find(waiting.due));
}

void HintStore::Update(Waiting& waiting, bool is_new, const Hint& hint, Moment now) {
  const bool was_growing = !is_new && waiting.growing;
  if (is_new || was_growing) waiting.first = now;
  const Moment due = DueOf(waiting, hint.state, now);
  waiting.growing =
      hint.state == HintState::kGrowing || (hint.state == HintState::kTouched && waiting.growing);
  waiting.reach = std::max(waiting.reach, hint.reach);
  waiting.goes_along = hint.state == HintState::kMoved;
  SetDue(waiting, is_new, due);
}

HintStore::Place HintStore::PlaceOf(const Hint& hint) {
  Folder& folder = folders_[FolderOf(hint.path)];
  if (folder.itself && hint.reach == Reach::kName && !hint.path.empty()) return {*folder.itself, false, true};
  const auto [name, inserted] = folder.names.try_emplace(NameOf(hint.path));
  return {name->second, inserted, false};
}

void HintStore::Add(const Hint& hint, Moment now) {
  const Place place = PlaceOf(hint);
  if (place.is_folders) return Update(place.waiting, false, {"", Reach::kFolder, HintState::kComplete}, now);
  Update(place.waiting, place.is_new, hint, now);
  if (!place.is_new) return;
  Folder& folder = folders_[FolderOf(hint.path)];
  if (folder.names.size() > kMostNames) CollapseFolder(folder, now);
  if (dues_.size() > kMostHints) CollapseAll(now);
}

// What lies deeper than in the folder is said by the hints of its sub-folders, unless these are too many,
// too.
void HintStore::CollapseFolder(Folder& folder, Moment now) {
  Reach reach = Reach::kFolder;
  std::size_t trees = 0;
  for (const auto& [name, waiting] : folder.names) trees += waiting.reach == Reach::kTree ? 1U : 0U;
  if (trees > kMostNames / 2) reach = Reach::kTree;
  std::erase_if(folder.names, [&](const auto& entry) {
    if (reach != Reach::kTree && entry.second.reach == Reach::kTree) return false;
    Drop(entry.second);
    return true;
  });
  const bool is_new = !folder.itself;
  if (is_new) folder.itself.emplace().reach = reach;
  Update(*folder.itself, is_new, {"", reach, HintState::kComplete}, now);
}

void HintStore::CollapseAll(Moment now) {
  Clear();
  Add({"", Reach::kTree, HintState::kComplete}, now);
}

std::optional<Moment> HintStore::NextDue() const {
  if (dues_.empty()) return std::nullopt;
  const Moment earliest = *dues_.begin();
  return std::max(earliest, std::min(latest_, earliest + kBurst * settling_.settle));
}

template <typename Wanted>
std::vector<Hint> HintStore::TakeThose(const Wanted& wanted) {
  std::vector<Hint> taken;
  for (auto& [path, folder] : folders_) {
    if (folder.itself && wanted(*folder.itself)) {
      taken.push_back({path, folder.itself->reach, HintState::kComplete});
      Drop(*folder.itself);
      folder.itself.reset();
    }
    const std::string before = path.empty() ? "" : path + "/";
    std::erase_if(folder.names, [&](const auto& entry) {
      if (!wanted(entry.second)) return false;
      taken.push_back({before + entry.first, entry.second.reach, HintState::kComplete});
      Drop(entry.second);
      return true;
    });
  }
  std::erase_if(folders_,
                [](const auto& entry) { return !entry.second.itself && entry.second.names.empty(); });
  if (dues_.empty()) latest_ = {};
  return taken;
}

std::vector<Hint> HintStore::Take(Moment now) {
  const auto next = NextDue();
  if (!next || *next > now) return {};
  const Moment until = now + settling_.settle / kSlackPart;
  return TakeThose([&](const Waiting& waiting) {
    return waiting.goes_along || waiting.due <= (waiting.growing ? now : until);
  });
}

std::vector<Hint> HintStore::TakeAll() {
  return TakeThose([](const Waiting& waiting) { return !waiting.growing; });
}

void HintStore::PutBack(const std::vector<Hint>& hints, Moment due) {
  for (const Hint& hint : hints) {
    const Place place = PlaceOf(hint);
    if (place.is_folders) continue;
    place.waiting.reach = std::max(place.waiting.reach, hint.reach);
    if (!place.is_new) continue;
    // Nothing else waits for it.
    place.waiting.goes_along = true;
    place.waiting.first = due;
    place.waiting.due = due;
    dues_.insert(due);
  }
}

bool HintStore::IsGrowing(const std::string& path) const {
  const auto folder = folders_.find(FolderOf(path));
  if (folder == folders_.end()) return false;
  const auto name = folder->second.names.find(NameOf(path));
  return name != folder->second.names.end() && name->second.growing;
}

void HintStore::Clear() {
  folders_.clear();
  dues_.clear();
  latest_ = {};
}
