// What has to be sent to the plug-in so that the rows of a library are true again.
#ifndef SERVICE_CHANGES_PLAN_H_
#define SERVICE_CHANGES_PLAN_H_

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "changes/catalogue.h"
#include "changes/loss_brake.h"
#include "changes/survey.h"
#include "common/outcome.h"
#include "files/walk_scope.h"
#include "library/library.h"
#include "work/work_item.h"

struct Plan {
  SurveyCounts counts;  // what was skipped, failed, unchanged or failed before
  // Both in the order of their stages. The deletes come when everything else is done.
  std::vector<WorkItem> items;
  std::vector<WorkItem> deletes;
  // What is gone and has no rows to delete: files that could not be stored. Forgotten with the deletes.
  std::vector<WorkItem> rowless;
  // What is not sent because files may only be out of reach, and why; nothing when all of it is.
  std::vector<WorkItem> withheld;
  std::string withheld_reason;
  LossVerdict verdict;  // on what is gone and not out of reach with its file system
  std::unordered_set<std::string>
      hiding;  // absolute paths of what stands where something may be out of reach
  std::map<std::string, std::uint64_t> mounts;  // folders on another file system than the one above them
  std::set<std::string> unknown;                // paths that could not be looked at, and all below them
};

struct PlanOptions {
  bool accepts_loss = false;
  bool moves_alone = false;  // and the folders that moved files need
  StopQuestion stopped = nullptr;
  // What is compared; it outlives the making.
  const WalkScope& scope = WalkScope::Whole();
  // Of a path below the library: the file there is being written, and is not to be read now. It may be empty.
  std::function<bool(const std::string&)> unsettled = nullptr;
};

// Compares the library, or a part of it, with its catalogue. Nothing is sent, and no media file is opened but
// one that may be the copy of a file that is gone. One that was stopped on the way has nothing in it.
Outcome<Plan> MakePlan(const Library& library, Catalogue& catalogue, const PlanOptions& options);

#endif  // SERVICE_CHANGES_PLAN_H_
