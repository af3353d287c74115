#ifndef SERVICE_RUN_RUN_PROGRESS_H_
#define SERVICE_RUN_RUN_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "files/file_counter.h"
#include "run/progress.h"
#include "work/work_item.h"

// How far a run over a folder is, shown on standard error.
class RunProgress {
 public:
  RunProgress(std::string folder, bool quiet);

  // So many items are what is sent next; else all of the folder is, whose files are counted beside the work.
  void Expect(std::size_t items) { total_ = done_ + items; }
  void Begin();
  void End();
  void NoteDone(const WorkItem& item);
  void ShowWhenDue();
  void Clear() { line_.Clear(); }

  std::chrono::milliseconds Elapsed() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::string folder_;
  Progress line_;
  Clock::time_point start_ = Clock::now();
  std::unique_ptr<FileCounter> counter_;
  std::optional<std::size_t> total_;
  std::size_t done_ = 0;
  std::string current_;  // the folder of the item done last, below the other
};

#endif  // SERVICE_RUN_RUN_PROGRESS_H_
