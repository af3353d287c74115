#ifndef SERVICE_WORKER_FOLDER_CALLS_H_
#define SERVICE_WORKER_FOLDER_CALLS_H_

#include <string>
#include <utility>

#include "library/library.h"
#include "work/work_item.h"
#include "worker/plugin.h"
#include "worker/plugin_answers.h"
#include "worker/row_lookup.h"

// The calls for a folder and its album. As PluginCalls is used.
class FolderCalls {
 public:
  // What it borrows outlives it.
  FolderCalls(const Plugin& plugin, Library library, RowLookup& rows, PluginAnswers& answers)
      : plugin_(plugin), library_(std::move(library)), rows_(rows), answers_(answers) {}

  ItemResult Call(const WorkItem& item);

 private:
  ItemResult Add(const std::string& folder);
  ItemResult Move(const WorkItem& item);
  ItemResult Delete(const WorkItem& item);

  const Plugin& plugin_;
  Library library_;
  RowLookup& rows_;
  PluginAnswers& answers_;
};

#endif  // SERVICE_WORKER_FOLDER_CALLS_H_
