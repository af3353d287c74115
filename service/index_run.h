#ifndef SERVICE_INDEX_RUN_H_
#define SERVICE_INDEX_RUN_H_

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "file_counter.h"
#include "library.h"
#include "outcome.h"
#include "progress.h"
#include "report.h"
#include "stop_signals.h"
#include "supervisor.h"
#include "walk.h"

struct IndexOptions {
  std::string plugin;
  std::size_t workers = 1;
  std::chrono::milliseconds file_timeout{};
  bool quiet = false;
};

// One run over a library: the walk gives what there is, the workers send it to the plug-in, the report keeps
// what became of it.
class IndexRun : private RunObserver {
 public:
  IndexRun(IndexOptions options, const Library& library, StopSignals& signals);

  Outcome<Done> Run();
  const IndexReport& report() const { return report_; }
  int stopped_by() const { return stopped_by_; }

 private:
  using Clock = std::chrono::steady_clock;

  // The next of the walk that is for the plug-in; the rest goes into the report on the way.
  static std::optional<WorkItem> NextItem(Walk& walk, IndexReport& report);
  void ItemDone(const WorkItem& item, const ItemResult& result) override;
  void Tick() override;

  IndexOptions options_;
  StopSignals& signals_;
  IndexReport report_;
  Clock::time_point start_ = Clock::now();
  Progress progress_;
  std::unique_ptr<FileCounter> counter_;
  std::size_t files_done_ = 0;
  std::string current_folder_;
  int stopped_by_ = 0;
};

#endif  // SERVICE_INDEX_RUN_H_
