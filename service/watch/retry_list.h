#ifndef SERVICE_WATCH_RETRY_LIST_H_
#define SERVICE_WATCH_RETRY_LIST_H_

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "files/walk_scope.h"
#include "watch/patience.h"

// What runs over a library could not do for a reason outside of the file, until it is done: no event tells
// that the disk has room again. Each path is tried again by itself, later each time. Bounded: of too many
// paths the library is tried. Paths are below it, "" is all of it. To be used in one thread; the time comes
// from outside.
class RetryList {
 public:
  // A run over SCOPE has left UNDONE; what else lies in the scope is done.
  void NoteRun(const std::set<std::string>& undone, const WalkScope& scope, Moment now);
  // When Take gives something; nothing while there is nothing to wait for.
  std::optional<Moment> NextDue() const;
  // What is to be tried now. It is due again when a run over it has left it.
  std::vector<std::string> Take(Moment now);
  // Something below FOLDER, not the folder itself, could not be done.
  bool HasBelow(const std::string& folder) const;
  // Those folders above PATH that could not be done: nothing in them can be before they are.
  std::vector<std::string> Above(const std::string& path) const;
  std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    Patience patience;
    std::optional<Moment> due;
  };

  static void SetDue(Entry& entry, Moment now);

  std::map<std::string, Entry> entries_;
};

#endif  // SERVICE_WATCH_RETRY_LIST_H_
