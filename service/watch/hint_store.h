#ifndef SERVICE_WATCH_HINT_STORE_H_
#define SERVICE_WATCH_HINT_STORE_H_

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "watch/hint.h"

// When a name may be read.
struct Settling {
  std::chrono::milliseconds settle{};  // after it was closed, moved or removed
  std::chrono::milliseconds quiet{};   // after it was last written, where nobody tells of the close
};

// A hint that waits.
struct WaitingHint {
  Reach reach = Reach::kName;
  bool growing = false;
  // It goes with whatever is taken: it was put back, or it moved, and its other name may be among that.
  bool goes_along = false;
  Moment first;  // hinted since it was taken last
  Moment due;
};

// The hints of one library until they have settled. Bounded: of a folder with more than 10,000 the folder
// itself is the hint, and of a library with too many the library. To be used in one thread; the time comes
// from outside.
class HintStore {
 public:
  explicit HintStore(Settling settling) : settling_(settling) {}

  void Add(const Hint& hint, Moment now);
  bool empty() const { return dues_.empty(); }
  std::size_t size() const { return dues_.size(); }
  // When Take gives something; nothing while there is nothing to wait for.
  std::optional<Moment> NextDue() const;
  // What has settled, which is in the store no more. What comes in one burst, such as the two names of
  // something that was moved, is given together.
  std::vector<Hint> Take(Moment now);
  // Everything, settled or not, but what is growing.
  std::vector<Hint> TakeAll();
  // What was taken and could not be used comes again at DUE, or with what is taken before that: one of the
  // two names of a move may be among it.
  void PutBack(const std::vector<Hint>& hints, Moment due);
  // The file at PATH is being written.
  bool IsGrowing(const std::string& path) const;
  void Clear();

 private:
  using Waiting = WaitingHint;
  struct Folder {
    std::optional<Waiting> itself;
    std::map<std::string, Waiting> names;  // in it
  };
  using Folders = std::map<std::string, Folder>;

  Moment DueOf(const Waiting& waiting, HintState state, Moment now) const;
  void Update(Waiting& waiting, bool is_new, const Hint& hint, Moment now);
  void SetDue(Waiting& waiting, bool is_new, Moment due);
  void Drop(const Waiting& waiting);
  // Where HINT is to wait: under its own name, or with the folder that stands for all of its names.
  struct Place {
    Waiting& waiting;
    bool is_new;
    bool is_folders;
  };
  Place PlaceOf(const Hint& hint);
  void CollapseFolder(Folder& folder, Moment now);
  void CollapseAll(Moment now);
  template <typename Wanted>
  std::vector<Hint> TakeThose(const Wanted& wanted);

  Settling settling_;
  Folders folders_;  // by path; the library itself is the name "" in ""
  std::multiset<Moment> dues_;
  Moment latest_{};  // due of what does not grow
};

#endif  // SERVICE_WATCH_HINT_STORE_H_
