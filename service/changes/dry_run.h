#ifndef SERVICE_CHANGES_DRY_RUN_H_
#define SERVICE_CHANGES_DRY_RUN_H_

#include <json/value.h>

#include <string>
#include <vector>

#include "common/outcome.h"
#include "library/library.h"
#include "library/state_root.h"
#include "work/work_item.h"

// What a run would send, without sending it.
struct DryRun {
  std::vector<WorkItem> items;
  std::vector<WorkItem> deletes;
  std::vector<WorkItem> withheld;  // would not be sent
  std::string withheld_reason;     // "" when nothing is
};

// Works on a copy of the catalogue; nothing is written but that copy in the temporary folder, which is gone
// again.
Outcome<DryRun> TryRun(const StateRoot& root, const Library& library, bool accepts_loss);

// One line for each event.
std::string DryRunText(const DryRun& run);
// [{event, kind, path, from, withheld}]; `from` for moves, `withheld` for what would not be sent.
Json::Value DryRunJson(const DryRun& run);

#endif  // SERVICE_CHANGES_DRY_RUN_H_
