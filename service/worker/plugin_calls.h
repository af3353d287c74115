#ifndef SERVICE_WORKER_PLUGIN_CALLS_H_
#define SERVICE_WORKER_PLUGIN_CALLS_H_

#include "database/transaction.h"
#include "library/library.h"
#include "work/work_item.h"
#include "worker/batch_seams.h"
#include "worker/file_calls.h"
#include "worker/folder_calls.h"
#include "worker/library_calls.h"
#include "worker/log_capture.h"
#include "worker/plugin.h"
#include "worker/plugin_answers.h"
#include "worker/prepared_item.h"
#include "worker/row_lookup.h"

// Which call of the plug-in an item becomes, and that a move is made as a whole. One call at a time, in a
// transaction that the caller has begun and ends, and on its thread.
class PluginCalls : public ItemCalls {
 public:
  // PLUGIN, LOG and ROWS outlive it.
  PluginCalls(const Plugin& plugin, const Library& library, LogCapture& log, RowLookup& rows)
      : log_(log),
        rows_(rows),
        answers_(log, rows),
        library_(plugin, rows, answers_),
        folders_(plugin, library, rows, answers_),
        files_(plugin, rows, answers_) {}
  PluginCalls(const PluginCalls&) = delete;
  PluginCalls& operator=(const PluginCalls&) = delete;

  ItemResult Make(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) override;

 private:
  ItemResult Call(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);
  ItemResult CallForMove(const WorkItem& item, PreparedItem& prepared, Transaction& transaction);

  LogCapture& log_;
  RowLookup& rows_;
  PluginAnswers answers_;
  LibraryCalls library_;
  FolderCalls folders_;
  FileCalls files_;
};

#endif  // SERVICE_WORKER_PLUGIN_CALLS_H_
