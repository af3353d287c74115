#include "worker/plugin_calls.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "database/savepoint.h"

namespace {

// The plug-in goes on without a job that it cannot queue.
bool TellsOfLostJob(const std::vector<std::string>& messages) {
  constexpr std::array<std::string_view, 3> kLosses{"RLIBCFileLockByFile failed: ", "Failed to write ",
                                                    "Make ea dir path error."};
  return std::any_of(messages.begin(), messages.end(), [&](std::string_view message) {
    return std::any_of(kLosses.begin(), kLosses.end(),
                       [&](std::string_view loss) { return message.starts_with(loss); });
  });
}

// The rows are there. Sent again by the next run, the file gets its job; what has moved is not sent again.
void TakeJobLoss(const WorkItem& item, ItemResult& result) {
  constexpr const char* kNoJob = "its background job could not be queued";
  if (IsMove(item)) return result.AddNote(kNoJob);
  result.outcome = ItemOutcome::kPartial;
  result.reason = kNoJob;
}

}  // namespace

ItemResult PluginCalls::Make(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  static_cast<void>(log_.Take());
  ItemResult result =
      IsMove(item) ? CallForMove(item, prepared, transaction) : Call(item, prepared, transaction);
  if (result.done() && TellsOfLostJob(log_.Take())) TakeJobLoss(item, result);
  return result;
}

// A move is made as a whole or not at all: what the plug-in clears or writes under the new name on the way
// would be in the way of the next attempt.
ItemResult PluginCalls::CallForMove(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  Savepoint start(rows_.Database(), transaction);
  if (!start.set()) return answers_.DatabaseNotAsked();
  ItemResult result = Call(item, prepared, transaction);
  if (result.done() && !start.Keep()) return answers_.DatabaseNotAsked();
  return result;
}

ItemResult PluginCalls::Call(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  switch (item.action) {
    case ItemAction::kMark:
      return library_.Mark(item);
    case ItemAction::kUnmark:
      return library_.Unmark();
    case ItemAction::kNoteMounts:
      return library_.NoteMounts(item);
    case ItemAction::kSweep:
      return library_.Sweep(item);
    case ItemAction::kParkRows:
    case ItemAction::kRename:
      return files_.RenameRows(item, Json::Value(Json::objectValue), transaction);
    case ItemAction::kAdd:
    case ItemAction::kMove:
    case ItemAction::kDelete:
    case ItemAction::kReindex:
      break;
  }
  if (item.kind == ItemKind::kFolder) return folders_.Call(item);
  if (item.action == ItemAction::kDelete) return files_.Delete(item, transaction);
  return item.action == ItemAction::kMove ? files_.Move(item, prepared, transaction)
                                          : files_.Update(item, prepared, transaction);
}
