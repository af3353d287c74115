// Side files whose values somebody has taken, and who will remove them when he has kept these for sure, so
// that nothing is lost when the process dies between the two.
//
// What is pending is one state of a file: a file that somebody writes again meanwhile holds a value that was
// not taken, so it is there again and stays.
#ifndef PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_
#define PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "core/file_state.h"

struct PendingRemoval {
  std::string root;
  std::string path;
  FileState state;
};

// Owns the list alone; its end removes nothing. Used by one thread.
class PendingRemovals {
 public:
  // What waits already is not added again.
  void Add(PendingRemoval removal);
  // The file PATH waits in STATE.
  [[nodiscard]] bool Has(const std::string& path, const FileState& state) const;
  // How many wait.
  [[nodiscard]] std::size_t count() const { return removals_.size(); }
  // Keeps the first COUNT of them.
  void KeepFirst(std::size_t count);
  // The list in the order of the calls; it is empty afterwards.
  [[nodiscard]] std::vector<PendingRemoval> Take();

 private:
  // A batch holds few files, so a search through the list is faster than a set would be.
  std::vector<PendingRemoval> removals_;
};

#endif  // PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_
