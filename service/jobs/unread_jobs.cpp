#include "jobs/unread_jobs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "base/fixed_path.h"
#include "jobs/job_queue.h"
#include "platform/files.h"

namespace {

bool HasReader() {
  struct stat status {};
  const bool has_shared_tree =
      lstat(FixedPath(kSharedPhotoLink).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  return has_shared_tree || FaceRecognitionTakesJobs();
}

}  // namespace

void DropUnreadJobs(std::int64_t tolerated) {
  const std::string queue = JobQueuePath();
  struct stat status {};
  if (stat(queue.c_str(), &status) != 0 || status.st_size <= tolerated || HasReader()) return;
  int descriptor = -1;
  if (RLIBCFileLockByFile(queue.c_str(), 1, &descriptor) == 0) return;
  // The next attempt makes up for one that fails.
  static_cast<void>(!ftruncate(descriptor, 0));
  RLIBCFileUnlockByFile(descriptor);
}
