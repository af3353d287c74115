#ifndef SERVICE_WORKER_PLUGIN_ANSWERS_H_
#define SERVICE_WORKER_PLUGIN_ANSWERS_H_

#include <string>

#include "work/work_item.h"
#include "worker/log_capture.h"
#include "worker/row_lookup.h"

// What an answer of the plug-in comes to: its number, what it has logged, and what the rows say. On the
// thread of its calls.
class PluginAnswers {
 public:
  // LOG and ROWS outlive it.
  PluginAnswers(LogCapture& log, RowLookup& rows) : log_(log), rows_(rows) {}

  // A result of the plug-in as ours.
  ItemResult ResultOf(int result, std::string trouble = "");
  // The same where the rows of what was at PATH are not to be there any more.
  ItemResult ResultOfRemoval(int result, ItemKind kind, const std::string& path);
  // The rows do not tell.
  ItemResult DatabaseNotAsked();

 private:
  LogCapture& log_;
  RowLookup& rows_;
};

#endif  // SERVICE_WORKER_PLUGIN_ANSWERS_H_
