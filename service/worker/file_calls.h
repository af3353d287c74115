#ifndef SERVICE_WORKER_FILE_CALLS_H_
#define SERVICE_WORKER_FILE_CALLS_H_

#include <json/value.h>

#include <string>

#include "database/transaction.h"
#include "work/work_item.h"
#include "worker/plugin.h"
#include "worker/plugin_answers.h"
#include "worker/prepared_item.h"
#include "worker/row_lookup.h"

// Before the name of rows that are about to be deleted; no file bears it.
inline constexpr const char* kHiddenPrefix = ".lumivault-gone-";

// The calls for a photo or video and its rows. As PluginCalls is used.
class FileCalls {
 public:
  // What it borrows outlives it.
  FileCalls(const Plugin& plugin, RowLookup& rows, PluginAnswers& answers)
      : plugin_(plugin), rows_(rows), answers_(answers) {}

  ItemResult Update(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult Move(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult Delete(const WorkItem& item, Transaction& transaction);
  // The rows of `from`, if there are any, become those of `path`; RECORD describes it.
  ItemResult RenameRows(const WorkItem& item, Json::Value record, Transaction& transaction);

 private:
  ItemResult UpdateMoved(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  // The place to be stored with the video: none where the row has one, since that may be a person's.
  std::string PlaceToStore(const WorkItem& item, const PreparedItem& prepared);
  // STORED, when the row of ITEM is there.
  ItemResult RequireRow(const WorkItem& item, ItemResult stored);

  const Plugin& plugin_;
  RowLookup& rows_;
  PluginAnswers& answers_;
};

#endif  // SERVICE_WORKER_FILE_CALLS_H_
