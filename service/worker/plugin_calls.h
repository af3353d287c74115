#ifndef SERVICE_WORKER_PLUGIN_CALLS_H_
#define SERVICE_WORKER_PLUGIN_CALLS_H_

#include <json/value.h>

#include <optional>
#include <string>

#include "database/transaction.h"
#include "library/library.h"
#include "work/work_item.h"
#include "worker/batch_seams.h"
#include "worker/log_capture.h"
#include "worker/plugin.h"
#include "worker/prepared_item.h"
#include "worker/row_lookup.h"

// What the plug-in is called with for an item, and what its answers come to. One call at a time, in a
// transaction that the caller has begun and ends, and on its thread.
class PluginCalls : public ItemCalls {
 public:
  // PLUGIN, LOG and ROWS outlive it.
  PluginCalls(const Plugin& plugin, Library library, LogCapture& log, RowLookup& rows)
      : plugin_(plugin), library_(std::move(library)), log_(log), rows_(rows) {}

  ItemResult Make(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) override;

 private:
  ItemResult Call(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult CallForMove(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  // Of the library as a whole.
  ItemResult Mark(const WorkItem& item);
  ItemResult Unmark();
  ItemResult Sweep(const WorkItem& item);
  // Of folders.
  ItemResult CallForFolder(const WorkItem& item);
  ItemResult AddFolder(const std::string& folder);
  ItemResult MoveFolder(const WorkItem& item);
  ItemResult DeleteFolder(const WorkItem& item);
  // Of files.
  ItemResult Update(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult UpdateMoved(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult MoveFile(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult DeleteFile(const WorkItem& item, Transaction& transaction);
  // The rows of `from`, if there are any, become those of `path`; RECORD describes it.
  ItemResult RenameRows(const WorkItem& item, Json::Value record, Transaction& transaction);
  // The place to be stored with the video: none where the row has one, since that may be a person's.
  std::string PlaceToStore(const WorkItem& item, const PreparedItem& prepared);

  // A result of the plug-in as ours.
  ItemResult ResultOf(int result, std::string trouble = "");
  // The same where the rows of what was at PATH are not to be there any more.
  ItemResult ResultOfRemoval(int result, ItemKind kind, const std::string& path);
  // STORED, when the row of ITEM is there.
  ItemResult WithRow(const WorkItem& item, ItemResult stored);
  ItemResult CannotAsk();

  const Plugin& plugin_;
  Library library_;
  LogCapture& log_;
  RowLookup& rows_;
};

#endif  // SERVICE_WORKER_PLUGIN_CALLS_H_
