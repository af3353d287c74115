#include "worker/plugin_calls.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "common/display.h"
#include "database/library_facts.h"
#include "database/savepoint.h"
#include "files/gone.h"
#include "library/album_name.h"
#include "platform/files.h"
#include "work/lent_position.h"
#include "worker/cut_metadata.h"
#include "worker/people_merge_pause.h"
#include "worker/reason_text.h"
#include "worker/title_choice.h"

namespace {

constexpr unsigned kIndexType = 1;  // any kind of folder that concerns the plug-in

// The database holds text alone.
constexpr const char* kNoTextName = "its name is not UTF-8";

// Before the name of rows that are about to be deleted.
constexpr const char* kHiddenPrefix = ".lumivault-gone-";

constexpr const char* kNoRow = "it has no row: the plug-in takes it for no file of this library";

constexpr const char* kNoAlbum = "it has no row: the plug-in takes it for no folder of this library";

// The plug-in goes on without a job that it cannot queue.
bool LosesJob(const std::vector<std::string>& messages) {
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
  if (!item.from.empty()) return result.AddNote(kNoJob);
  result.outcome = ItemOutcome::kPartial;
  result.reason = kNoJob;
}

}  // namespace

ItemResult PluginCalls::Make(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  static_cast<void>(log_.Take());
  ItemResult result =
      item.from.empty() ? Call(item, prepared, transaction) : CallForMove(item, prepared, transaction);
  if (result.done() && LosesJob(log_.Take())) TakeJobLoss(item, result);
  return result;
}

// A move is made as a whole or not at all: what the plug-in clears or writes under the new name on the way
// would be in the way of the next attempt.
ItemResult PluginCalls::CallForMove(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  Savepoint start(rows_.Database(), transaction);
  if (!start.set()) return CannotAsk();
  ItemResult result = Call(item, prepared, transaction);
  if (result.done() && !start.Keep()) return CannotAsk();
  return result;
}

ItemResult PluginCalls::Call(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  switch (item.action) {
    case ItemAction::kMark:
      return Mark(item);
    case ItemAction::kUnmark:
      return Unmark();
    case ItemAction::kNoteMounts:
      return NoteMounts(rows_.Database(), item.from) ? ItemResult::Stored() : CannotAsk();
    case ItemAction::kSweep:
      return Sweep(item);
    case ItemAction::kSetAside:
    case ItemAction::kRename:
      return RenameRows(item, Json::Value(Json::objectValue), transaction);
    case ItemAction::kAdd:
    case ItemAction::kMove:
    case ItemAction::kDelete:
    case ItemAction::kReindex:
      break;
  }
  if (item.kind == ItemKind::kFolder) return CallForFolder(item);
  if (item.action == ItemAction::kDelete) return DeleteFile(item, transaction);
  return item.action == ItemAction::kMove ? MoveFile(item, prepared, transaction)
                                          : Update(item, prepared, transaction);
}

// The sweep leaves the labels of what it takes; the delete of a file takes all that nobody carries any more.
ItemResult PluginCalls::Sweep(const WorkItem& item) {
  ItemResult swept = ResultOf(plugin_.IndexPostReindex(item.path.c_str()));
  if (!swept.done()) return swept;
  static_cast<void>(plugin_.IndexDelete((item.path + "/" + kHiddenPrefix).c_str()));
  return NoteMarked(rows_.Database(), false) ? swept : CannotAsk();
}

// Noted with the marks, so that a run that ends early leaves none that nobody knows of.
ItemResult PluginCalls::Mark(const WorkItem& item) {
  ItemResult marked = ResultOf(plugin_.IndexPreReindex(item.path.c_str()));
  if (!marked.done()) return marked;
  return NoteMarked(rows_.Database(), true) ? marked : CannotAsk();
}

ItemResult PluginCalls::Unmark() {
  return UnmarkRows(rows_.Database()) && NoteMarked(rows_.Database(), false) ? ItemResult::Stored()
                                                                             : CannotAsk();
}

ItemResult PluginCalls::CallForFolder(const WorkItem& item) {
  const char* path = item.path.c_str();
  if (item.action == ItemAction::kDelete) return DeleteFolder(item);
  if (item.path != library_.folder && NoAlbumReason(library_.Below(item.path)) != nullptr)
    return ItemResult::Stored();
  switch (item.action) {
    case ItemAction::kMove:
      return MoveFolder(item);
    case ItemAction::kReindex:
      // Its result is -1 whatever it did; the row tells.
      static_cast<void>(plugin_.IndexReindexDirUpdate(path));
      return ResultOf(item.path == library_.folder || rows_.HasAlbum(item.path) == true ? 0 : -1);
    default:
      return AddFolder(item.path);
  }
}

// The plug-in answers the same for an album that it has stored and for a folder that it takes for none.
ItemResult PluginCalls::AddFolder(const std::string& folder) {
  ItemResult added = ResultOf(plugin_.IndexDirAdd(folder.c_str()));
  if (!added.done() || folder == library_.folder) return added;
  const auto recorded = rows_.HasAlbum(folder);
  if (!recorded) return CannotAsk();
  return *recorded ? std::move(added) : ItemResult::NotKept(kNoAlbum);
}

// A move whose old rows are not there any more was made by a run that could not note it.
ItemResult PluginCalls::MoveFolder(const WorkItem& item) {
  const auto recorded = rows_.HasAlbum(item.from);
  if (!recorded) return CannotAsk();
  if (*recorded) {
    const int result = plugin_.IndexDirRename(item.path.c_str(), item.from.c_str());
    ItemResult moved = ResultOfRemoval(result, ItemKind::kFolder, item.from);
    if (!moved.done()) return moved;
  }
  return AddFolder(item.path);
}

ItemResult PluginCalls::DeleteFolder(const WorkItem& item) {
  // It may be back since the scan, or out of reach.
  if (!IsGone(item.path, ItemKind::kFolder)) return ItemResult::NotKept("the folder is there again");
  return ResultOfRemoval(plugin_.IndexDirDelete(item.path.c_str()), ItemKind::kFolder, item.path);
}

// The plug-in keeps the rows of a name that is there: where a folder bears it now, they go under another.
ItemResult PluginCalls::DeleteFile(const WorkItem& item, Transaction& transaction) {
  if (RLIBCFileCheckDir(item.path.c_str()) != 1) {
    return ResultOfRemoval(plugin_.IndexDelete(item.path.c_str()), item.kind, item.path);
  }
  WorkItem hidden = item;
  hidden.from = item.path;
  hidden.path.insert(item.path.rfind('/') + 1, kHiddenPrefix);
  ItemResult renamed = RenameRows(hidden, Json::Value(Json::objectValue), transaction);
  if (!renamed.done()) return renamed;
  return ResultOfRemoval(plugin_.IndexDelete(hidden.path.c_str()), item.kind, hidden.path);
}

ItemResult PluginCalls::Update(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  if (prepared.late) {
    // A row that is there may know more.
    const auto recorded = rows_.HasRow(item.kind, item.path);
    if (!recorded) return CannotAsk();
    if (*recorded) return ItemResult::Unopened(prepared.trouble);
  }
  std::optional<Savepoint> cleared;
  const std::string key = rows_.KeyOf(item.path);
  if (item.kind == ItemKind::kPhoto &&
      !ChooseTitle(rows_.Database(), key, prepared.title, prepared.record, transaction, cleared))
    return CannotAsk();
  const LentPosition position(item.path, PlaceToStore(item, prepared));
  const int result = item.action == ItemAction::kReindex
                         ? plugin_.IndexReindexUpdate_Json(&prepared.record, kIndexType)
                         : plugin_.IndexAdd_Json(&prepared.record, kIndexType);
  if (result < 0 && ValidUtf8(item.path) != item.path) return ItemResult::Failed(kNoTextName);
  ItemResult stored = ResultOf(result, prepared.trouble);
  if (cleared && stored.done() && !cleared->Keep()) return CannotAsk();
  if (stored.done() && item.kind == ItemKind::kPhoto)
    stored.AddNote(CutMetadataNote(item.path, key, rows_.Database()));
  return stored.done() ? WithRow(item, std::move(stored)) : stored;
}

// The plug-in answers the same for what it has stored and for what it takes for none of its files.
ItemResult PluginCalls::WithRow(const WorkItem& item, ItemResult stored) {
  const auto recorded = rows_.HasRow(item.kind, item.path);
  if (!recorded) return CannotAsk();
  return *recorded ? std::move(stored) : ItemResult::NotKept(kNoRow);
}

// The rename keeps what belongs to the row; what it leaves as it was (the album's name in the row, say) is
// made true by adding the file. The row of a video is made anew by its rename, which needs the file.
ItemResult PluginCalls::MoveFile(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  const auto recorded = rows_.HasRow(item.kind, item.from);
  if (!recorded) return CannotAsk();
  if (!*recorded && !prepared.storable) return ItemResult::Failed(prepared.trouble);
  if (!prepared.storable && item.kind == ItemKind::kVideo) return ItemResult::NotKept(prepared.trouble);
  const Json::Value record = prepared.storable ? prepared.record : Json::Value(Json::objectValue);
  if (ItemResult moved = RenameRows(item, record, transaction); !moved.done()) return moved;
  return prepared.storable ? UpdateMoved(item, prepared, transaction) : ItemResult::Stored(prepared.trouble);
}

ItemResult PluginCalls::UpdateMoved(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  std::optional<PeopleMergePause> pause;
  if (item.same_content && item.kind == ItemKind::kPhoto) pause.emplace(rows_.Database());
  if (pause && !pause->begun()) return CannotAsk();
  ItemResult result = Update(item, prepared, transaction);
  if (!pause || pause->End()) return result;
  transaction.Spoil();
  return CannotAsk();
}

ItemResult PluginCalls::RenameRows(const WorkItem& item, Json::Value record, Transaction& transaction) {
  const auto recorded = rows_.HasRow(item.kind, item.from);
  if (!recorded) return CannotAsk();
  if (!*recorded) return ItemResult::Stored();
  record["szPath"] = item.path;
  // The row of a video is written anew.
  const auto place =
      item.kind == ItemKind::kVideo ? rows_.PlaceOf(item.from) : std::optional<std::string>("");
  if (!place) return CannotAsk();
  const LentPosition position(item.path, *place);
  // What waits in side files at the new path is for the add that follows, or stays for a later one.
  const ConsumedFiles stay(transaction);
  const int result = plugin_.IndexRename_Json(&record, kIndexType, item.from.c_str());
  return ResultOfRemoval(result, item.kind, item.from);
}

ItemResult PluginCalls::ResultOf(int result, std::string trouble) {
  return result >= 0 ? ItemResult::Stored(std::move(trouble))
                     : ItemResult::NotKept(ReasonForPeople(ReasonOf(log_.Take())));
}

ItemResult PluginCalls::ResultOfRemoval(int result, ItemKind kind, const std::string& path) {
  if (result < 0) return ResultOf(result);
  const auto left = rows_.Has(kind, path);
  if (!left) return CannotAsk();
  return *left ? ResultOf(-1) : ItemResult::Stored();
}

ItemResult PluginCalls::CannotAsk() {
  return ItemResult::NotKept("the database cannot be read: " + rows_.Database().error());
}

std::string PluginCalls::PlaceToStore(const WorkItem& item, const PreparedItem& prepared) {
  if (prepared.place.empty()) return "";
  const auto stored = rows_.PlaceOf(item.path);
  return stored && stored->empty() ? prepared.place : "";
}
