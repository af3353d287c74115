#ifndef SERVICE_WATCH_HINT_SOURCE_H_
#define SERVICE_WATCH_HINT_SOURCE_H_

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <set>
#include <string>

#include "common/outcome.h"
#include "watch/hint.h"

// Tells a listener which names of one library may differ, from its loop. Whatever happens after it is ready
// is hinted, be it by a tree that is too large; what happened before, nobody tells. To be used in the loop's
// thread.
class HintSource {
 public:
  HintSource() = default;
  virtual ~HintSource() = default;
  HintSource(const HintSource&) = delete;
  HintSource& operator=(const HintSource&) = delete;

  // From now on, looking as LOOKER; again after an end. A failure where nothing can be watched at all.
  virtual Outcome<Done> Begin(std::optional<uid_t> looker) = 0;
  virtual void End() = 0;
  // It has come to the end of what it has to watch, new folders too: what it has hinted may be surveyed.
  virtual bool ready() const = 0;
  // What stands under the library's path is what is watched, as far as that is known.
  virtual bool HasRoot() const = 0;
  // What lies at PATH may be another folder.
  virtual void WatchAnew(const std::string& path) = 0;

  // The trees of which nothing is told, since there is no room for more watches; each is tried again by
  // TryAgain.
  virtual const std::set<std::string>& unwatched() const = 0;
  virtual void TryAgain() = 0;
  // Links to files: what they lead to may change without a word about them.
  virtual const std::set<std::string>& links() const = 0;

  virtual std::size_t watched_folders() const = 0;
  // How often more happened than could be told.
  virtual std::size_t overflows() const = 0;
};

#endif  // SERVICE_WATCH_HINT_SOURCE_H_
