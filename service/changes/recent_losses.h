#ifndef SERVICE_CHANGES_RECENT_LOSSES_H_
#define SERVICE_CHANGES_RECENT_LOSSES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "changes/catalogue.h"

// How many files a library has lost within the last hour: a folder that is removed slowly goes in many small
// losses. Kept in its catalogue, with the changes of that.
class RecentLosses {
 public:
  // CATALOGUE outlives it.
  explicit RecentLosses(Catalogue& catalogue);

  std::size_t Count() const;
  void Add(std::size_t files);
  // Of those that were added last so many were not lost.
  void TakeBack(std::size_t files);
  // Somebody has said that they are meant.
  void Forget();

 private:
  struct Loss {
    std::size_t files = 0;
    std::int64_t time = 0;  // seconds since 1970
  };
  void Record();

  Catalogue& catalogue_;
  std::int64_t now_;
  std::vector<Loss> losses_;  // the oldest first
};

#endif  // SERVICE_CHANGES_RECENT_LOSSES_H_
