#include "watch/watched_tree.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

// The text up to the next slash, which goes too.
std::string_view NextName(std::string_view& path) {
  const std::string_view name = path.substr(0, path.find('/'));
  path.remove_prefix(std::min(path.size(), name.size() + 1));
  return name;
}

}  // namespace

std::string WatchedTree::PathOf(const Folder& folder) {
  if (folder.parent == nullptr) return "";
  const std::string above = PathOf(*folder.parent);
  return above.empty() ? folder.name : above + "/" + folder.name;
}

WatchedTree::Folder* WatchedTree::Find(const std::string& path) const {
  Folder* folder = top_.get();
  for (std::string_view rest = path; !rest.empty();) {
    const auto found = folder->below.find(std::string(NextName(rest)));
    if (found == folder->below.end()) return nullptr;
    folder = found->second.get();
  }
  return folder;
}

WatchedTree::Folder& WatchedTree::Make(const std::string& path) {
  Folder* folder = top_.get();
  for (std::string_view rest = path; !rest.empty();) {
    const std::string name(NextName(rest));
    auto& below = folder->below[name];
    if (!below) below = std::make_unique<Folder>(Folder{-1, name, folder, {}});
    folder = below.get();
  }
  return *folder;
}

std::vector<int> WatchedTree::Put(const std::string& path, int watch) {
  std::vector<int> freed;
  Folder& folder = Make(path);
  auto& others = by_watch_[watch];
  if (std::find(others.begin(), others.end(), &folder) == others.end()) others.push_back(&folder);
  RemoveBelow(folder, freed);
  if (folder.watch != watch) Unwatch(folder, freed);
  folder.watch = watch;
  return freed;
}

std::vector<int> WatchedTree::Remove(const std::string& path) {
  std::vector<int> freed;
  Folder* folder = Find(path);
  if (folder == nullptr) return freed;
  RemoveBelow(*folder, freed);
  Unwatch(*folder, freed);
  if (folder->parent != nullptr) folder->parent->below.erase(std::string(folder->name));
  return freed;
}

void WatchedTree::RemoveWatch(int watch) {
  const auto found = by_watch_.find(watch);
  if (found == by_watch_.end()) return;
  for (Folder* folder : found->second) folder->watch = -1;
  by_watch_.erase(found);
}

void WatchedTree::Clear() {
  by_watch_.clear();
  top_ = std::make_unique<Folder>();
}

std::vector<std::string> WatchedTree::PathsOf(int watch) const {
  std::vector<std::string> paths;
  const auto found = by_watch_.find(watch);
  if (found == by_watch_.end()) return paths;
  for (const Folder* folder : found->second) paths.push_back(PathOf(*folder));
  return paths;
}

bool WatchedTree::Contains(const std::string& path) const {
  const Folder* folder = Find(path);
  return folder != nullptr && folder->watch >= 0;
}

bool WatchedTree::HasAbove(const std::string& path, int watch) const {
  const Folder* folder = Find(path);
  if (folder == nullptr) return false;
  while ((folder = folder->parent) != nullptr) {
    if (folder->watch == watch) return true;
  }
  return false;
}

void WatchedTree::RemoveBelow(Folder& folder, std::vector<int>& freed) {
  for (auto& [name, below] : folder.below) {
    RemoveBelow(*below, freed);
    Unwatch(*below, freed);
  }
  folder.below.clear();
}

void WatchedTree::Unwatch(Folder& folder, std::vector<int>& freed) {
  const auto found = by_watch_.find(folder.watch);
  folder.watch = -1;
  if (found == by_watch_.end()) return;
  std::erase(found->second, &folder);
  if (!found->second.empty()) return;
  freed.push_back(found->first);
  by_watch_.erase(found);
}
