#include "files/walk_scope.h"

#include <algorithm>
#include <utility>

#include "base/limits.h"

namespace {

// The text up to the next slash, which goes too with those behind it.
std::string_view NextName(std::string_view& path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  const std::string_view name = path.substr(0, path.find('/'));
  path.remove_prefix(name.size());
  return name;
}

// Of what lies in a folder that is meant so far.
Reach Inherited(Reach of_folder) {
  if (of_folder == Reach::kTree) return Reach::kTree;
  return of_folder == Reach::kFolder ? Reach::kName : Reach::kNothing;
}

}  // namespace

WalkScope::Part WalkScope::Part::Below(std::string_view name) const {
  const Reach inherited = Inherited(reach_);
  if (node_ == nullptr) return Part(inherited);
  const auto found = node_->below.find(name);
  if (found == node_->below.end()) return Part(inherited);
  return Part(std::max(inherited, found->second.reach), &found->second);
}

std::vector<std::string> WalkScope::Part::Names() const {
  std::vector<std::string> names;
  if (node_ == nullptr) return names;
  for (const auto& [name, node] : node_->below) {
    if (node.reach != Reach::kNothing) names.push_back(name);
  }
  return names;
}

std::vector<std::string> WalkScope::Part::Tops(const std::string& path) const {
  if (is_meant()) return {path};
  std::vector<std::string> tops;
  if (node_ == nullptr) return tops;
  const std::string before = path.empty() ? "" : path + "/";
  for (const auto& [name, node] : node_->below) {
    for (std::string& top : Below(name).Tops(before + name)) tops.push_back(std::move(top));
  }
  return tops;
}

const WalkScope& WalkScope::Whole() {
  static const WalkScope whole = [] {
    WalkScope scope;
    scope.Add("", Reach::kTree);
    return scope;
  }();
  return whole;
}

void WalkScope::Add(std::string_view path, Reach reach) {
  // No file bears such a name.
  if (path.size() >= kPathSize || path.find('\0') != std::string_view::npos) return;
  Node* node = &top_;
  for (std::string_view name = NextName(path); !name.empty(); name = NextName(path)) {
    node = &node->below[std::string(name)];
  }
  node->reach = std::max(node->reach, reach);
}

WalkScope::Part WalkScope::At(std::string_view path) const {
  Part part = Top();
  for (std::string_view name = NextName(path); !name.empty(); name = NextName(path)) {
    part = part.Below(name);
  }
  return part;
}
