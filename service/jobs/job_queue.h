// The file of background jobs that the plug-in fills and a program of the package empties (docs/jobs.md).
#ifndef SERVICE_JOBS_JOB_QUEUE_H_
#define SERVICE_JOBS_JOB_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "library/state_root.h"

// A queue that is longer when a run ends loses its oldest jobs but for half of this: room for some 700,000.
inline constexpr std::int64_t kMostJobBytes = std::int64_t{64} << 20;

struct JobQueue {
  std::string path;
  std::int64_t bytes = 0;
  std::size_t jobs = 0;
  // Since when the job that waits longest has been seen at the end of each run: nobody has taken one. Nothing
  // when no run has seen it.
  std::optional<std::string> unread_since;
};

// The queue of the state folder; nothing when no job waits.
std::optional<JobQueue> ReadJobQueue(const StateRoot& root);

// At the end of a run: notes which job waits longest, and keeps the queue within its bound. How many jobs
// were dropped; 0 where something keeps it from that, which must not cost the run its report.
std::size_t TendJobQueue(const StateRoot& root);

// People have switched face recognition on, whose program empties the queue.
bool FaceRecognitionTakesJobs();

// Where the queue's file is, for the state folder that the process uses.
std::string JobQueuePath();

#endif  // SERVICE_JOBS_JOB_QUEUE_H_
