// Side files whose values a batch has taken into the database. Until the batch is committed they stay on
// disk, so that nothing is lost when the process dies between the two; for everybody who asks through the
// platform they are gone.
//
// A batch belongs to the thread that began it; every thread has a list of its own.
#ifndef PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_
#define PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_

#include <string>
#include <vector>

struct PendingRemoval {
  std::string root;
  std::string path;
};

// Whether a removal has to wait now.
[[nodiscard]] bool BatchOpen();
void SetBatchOpen(bool open);

// PATH below ROOT, to be removed at the commit; a path that waits already is not added again.
void AddPendingRemoval(std::string root, std::string path);
[[nodiscard]] bool IsRemovalPending(const std::string& path);
// The list in the order of the calls; it is empty afterwards.
[[nodiscard]] std::vector<PendingRemoval> TakePendingRemovals();

#endif  // PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_
