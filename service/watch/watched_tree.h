#ifndef SERVICE_WATCH_WATCHED_TREE_H_
#define SERVICE_WATCH_WATCHED_TREE_H_

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

// Which folder each watch of the kernel belongs to: the folders of a library that are watched, by name and by
// number. A folder that is mounted in two places has one number and two names. Used by one thread.
class WatchedTree {
 public:
  struct Folder {
    int watch = -1;  // -1: on the way to others
    std::string name;
    Folder* parent = nullptr;
    std::map<std::string, std::unique_ptr<Folder>> below;
  };

  // The folder at PATH, "" for the library itself, has the number WATCH. What was known of it and of what is
  // below is forgotten; the numbers that nobody has any more are given back.
  std::vector<int> Put(const std::string& path, int watch);
  // What is at and below PATH is gone; the numbers that nobody has any more.
  std::vector<int> Remove(const std::string& path);
  // The kernel has given up WATCH.
  void RemoveWatch(int watch);
  void Clear();

  // Of those with the number WATCH, below the library.
  std::vector<std::string> PathsOf(int watch) const;
  bool Contains(const std::string& path) const;
  // One of the folders above PATH has the number WATCH.
  bool HasAbove(const std::string& path, int watch) const;
  // How many numbers there are.
  std::size_t size() const { return by_watch_.size(); }

 private:
  static std::string PathOf(const Folder& folder);
  Folder* Find(const std::string& path) const;
  Folder& Make(const std::string& path);
  // Forgets what is below FOLDER; adds to FREED.
  void RemoveBelow(Folder& folder, std::vector<int>& freed);
  void Unwatch(Folder& folder, std::vector<int>& freed);

  std::unique_ptr<Folder> top_ = std::make_unique<Folder>();
  std::unordered_map<int, std::vector<Folder*>> by_watch_;
};

#endif  // SERVICE_WATCH_WATCHED_TREE_H_
