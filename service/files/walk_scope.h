#ifndef SERVICE_FILES_WALK_SCOPE_H_
#define SERVICE_FILES_WALK_SCOPE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// How much of what lies at a path is meant; each more than the one before.
enum class Reach : std::uint8_t {
  kNothing,
  kName,    // what bears the name itself: a file, or a folder without anything in it
  kFolder,  // and what lies directly in the folder
  kTree,    // and everything below
};

// Which part of a folder's tree is meant: all of it, or some folders and names below it, by their paths
// alone. What several of them mean counts once. Not to be changed while somebody goes by it; then any thread
// may.
class WalkScope {
  struct Node {
    Reach reach = Reach::kNothing;
    std::map<std::string, Node, std::less<>> below;
  };

 public:
  // What a scope means at and below one path.
  class Part {
   public:
    Part() = default;
    explicit Part(Reach reach, const Node* node = nullptr) : reach_(reach), node_(node) {}

    Part Below(std::string_view name) const;
    // What bears the name.
    bool is_meant() const { return reach_ != Reach::kNothing; }
    // Everything directly in it.
    bool has_all_names() const { return reach_ >= Reach::kFolder; }
    bool is_tree() const { return reach_ == Reach::kTree; }
    // Something in it or further below.
    bool has_names() const { return has_all_names() || (node_ != nullptr && !node_->below.empty()); }
    bool empty() const { return !is_meant() && !has_names(); }
    // The names in it that are meant, in byte order, but for those that are so because all are.
    std::vector<std::string> Names() const;
    // The topmost paths that are meant here and below, each behind PATH, which is the part's own.
    std::vector<std::string> Tops(const std::string& path) const;

   private:
    Reach reach_ = Reach::kNothing;
    const Node* node_ = nullptr;  // null: nothing is said of what is below
  };

  // Nothing yet.
  WalkScope() = default;
  static const WalkScope& Whole();

  // PATH is below the folder, "" the folder itself; slashes before and behind it do not count.
  void Add(std::string_view path, Reach reach);

  // Of the folder itself; of use while the scope is there.
  Part Top() const { return Part(top_.reach, &top_); }
  Part At(std::string_view path) const;
  bool Contains(std::string_view path) const { return At(path).is_meant(); }
  bool is_whole() const { return top_.reach == Reach::kTree; }

 private:
  Node top_;
};

#endif  // SERVICE_FILES_WALK_SCOPE_H_
