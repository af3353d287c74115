#ifndef SERVICE_WORKER_LIBRARY_CALLS_H_
#define SERVICE_WORKER_LIBRARY_CALLS_H_

#include "work/work_item.h"
#include "worker/plugin.h"
#include "worker/plugin_answers.h"
#include "worker/row_lookup.h"

// The calls that concern a library as a whole: the phases of a full reindex, and what its database has to
// know besides its rows. As PluginCalls is used.
class LibraryCalls {
 public:
  // What it borrows outlives it.
  LibraryCalls(const Plugin& plugin, RowLookup& rows, PluginAnswers& answers)
      : plugin_(plugin), rows_(rows), answers_(answers) {}

  ItemResult Mark(const WorkItem& item);
  ItemResult Unmark();
  ItemResult Sweep(const WorkItem& item);
  ItemResult NoteMounts(const WorkItem& item);

 private:
  const Plugin& plugin_;
  RowLookup& rows_;
  PluginAnswers& answers_;
};

#endif  // SERVICE_WORKER_LIBRARY_CALLS_H_
