// Side files whose values a batch has taken into the database. Until the batch is committed they stay on
// disk, so that nothing is lost when the process dies between the two; for everybody who asks through the
// platform they are gone.
//
// What is pending is one state of a file: a file that somebody writes again meanwhile holds a value that was
// not taken, so it is there again and stays.
//
// A batch belongs to the thread that began it; every thread has a list of its own.
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

// Whether a removal has to wait now.
[[nodiscard]] bool BatchOpen();
void SetBatchOpen(bool open);

// The file PATH below ROOT, to be removed at the commit as long as it is in STATE; what waits already is not
// added again.
void AddPendingRemoval(PendingRemoval removal);
[[nodiscard]] bool IsRemovalPending(const std::string& path, const FileState& state);
// How many wait.
[[nodiscard]] std::size_t PendingRemovalCount();
// Keeps the first COUNT of them.
void ForgetPendingRemovals(std::size_t count);
// The list in the order of the calls; it is empty afterwards.
[[nodiscard]] std::vector<PendingRemoval> TakePendingRemovals();

#endif  // PLATFORM_LINUX_CORE_PENDING_REMOVALS_H_
