// What a scan finds gone or replaced and what was on another file system than its folder is now: it may be
// away with that.
#ifndef SERVICE_CHANGES_OUT_OF_REACH_H_
#define SERVICE_CHANGES_OUT_OF_REACH_H_

#include <string>
#include <vector>

#include "changes/mount_record.h"
#include "changes/survey.h"

struct OutOfReach {
  std::vector<Arrival> files;    // in the place of others
  std::vector<Arrival> folders;  // the same
  std::vector<CatalogueEntry> gone_files;
  std::vector<CatalogueEntry> gone_folders;  // and those above anything of all this
  bool empty() const { return files.empty() && gone_files.empty() && gone_folders.empty(); }
};

// Takes out of DIFFERENCES what stands in the place of others, but where those are seen elsewhere: they are
// known to move. Before moves are looked for.
OutOfReach TakeHiding(Differences& differences);
// Takes the rest of it out of DIFFERENCES, which has no moves any more.
void TakeElsewhere(Differences& differences, OutOfReach& out_of_reach);

// For people: what is not there, as far as RECORDED tells.
std::string ReasonOf(const OutOfReach& out_of_reach, const MountRecord& recorded);

#endif  // SERVICE_CHANGES_OUT_OF_REACH_H_
