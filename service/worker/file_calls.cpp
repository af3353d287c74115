#include "worker/file_calls.h"

#include <optional>
#include <utility>

#include "common/display.h"
#include "database/savepoint.h"
#include "platform/files.h"
#include "worker/cut_metadata.h"
#include "worker/lent_position.h"
#include "worker/people_merge_pause.h"
#include "worker/title_choice.h"

namespace {

constexpr unsigned kIndexType = 1;  // any kind of folder that concerns the plug-in

// The database holds text alone.
constexpr const char* kNoTextName = "its name is not UTF-8";

constexpr const char* kNoRow = "it has no row: the plug-in takes it for no file of this library";

}  // namespace

// The plug-in keeps the rows of a name that is there: where a folder bears it now, they go under another.
ItemResult FileCalls::Delete(const WorkItem& item, Transaction& transaction) {
  if (RLIBCFileCheckDir(item.path.c_str()) != 1) {
    return answers_.ResultOfRemoval(plugin_.IndexDelete(item.path.c_str()), item.kind, item.path);
  }
  WorkItem hidden = item;
  hidden.from = item.path;
  hidden.path.insert(item.path.rfind('/') + 1, kHiddenPrefix);
  ItemResult renamed = RenameRows(hidden, Json::Value(Json::objectValue), transaction);
  if (!renamed.done()) return renamed;
  return answers_.ResultOfRemoval(plugin_.IndexDelete(hidden.path.c_str()), item.kind, hidden.path);
}

ItemResult FileCalls::Update(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  if (prepared.late) {
    // A row that is there may know more.
    const auto recorded = rows_.HasRow(item.kind, item.path);
    if (!recorded) return answers_.DatabaseNotAsked();
    if (*recorded) return ItemResult::Unopened(prepared.trouble);
  }
  std::optional<Savepoint> cleared;
  const std::string key = rows_.KeyOf(item.path);
  if (item.kind == ItemKind::kPhoto &&
      !ChooseTitle(rows_.Database(), key, prepared.title, prepared.record, transaction, cleared))
    return answers_.DatabaseNotAsked();
  const LentPosition position(item.path, PlaceToStore(item, prepared));
  const int result = item.action == ItemAction::kReindex
                         ? plugin_.IndexReindexUpdate_Json(&prepared.record, kIndexType)
                         : plugin_.IndexAdd_Json(&prepared.record, kIndexType);
  if (result < 0 && ValidUtf8(item.path) != item.path) return ItemResult::Failed(kNoTextName);
  ItemResult stored = answers_.ResultOf(result, prepared.trouble);
  if (cleared && stored.done() && !cleared->Keep()) return answers_.DatabaseNotAsked();
  if (stored.done() && item.kind == ItemKind::kPhoto)
    stored.AddNote(CutMetadataNote(item.path, key, rows_.Database()));
  return stored.done() ? RequireRow(item, std::move(stored)) : stored;
}

// The plug-in answers the same for what it has stored and for what it takes for none of its files.
ItemResult FileCalls::RequireRow(const WorkItem& item, ItemResult stored) {
  const auto recorded = rows_.HasRow(item.kind, item.path);
  if (!recorded) return answers_.DatabaseNotAsked();
  return *recorded ? std::move(stored) : ItemResult::NotKept(kNoRow);
}

// The rename keeps what belongs to the row; what it leaves as it was (the album's name in the row, say) is
// made true by adding the file. The row of a video is made anew by its rename, which needs the file.
ItemResult FileCalls::Move(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  const auto recorded = rows_.HasRow(item.kind, item.from);
  if (!recorded) return answers_.DatabaseNotAsked();
  if (!*recorded && !prepared.storable) return ItemResult::Failed(prepared.trouble);
  if (!prepared.storable && item.kind == ItemKind::kVideo) return ItemResult::NotKept(prepared.trouble);
  const Json::Value record = prepared.storable ? prepared.record : Json::Value(Json::objectValue);
  if (ItemResult moved = RenameRows(item, record, transaction); !moved.done()) return moved;
  return prepared.storable ? UpdateMoved(item, prepared, transaction) : ItemResult::Stored(prepared.trouble);
}

ItemResult FileCalls::UpdateMoved(const WorkItem& item, PreparedItem& prepared, Transaction& transaction) {
  std::optional<PeopleMergePause> pause;
  if (item.same_content && item.kind == ItemKind::kPhoto) pause.emplace(rows_.Database());
  if (pause && !pause->begun()) return answers_.DatabaseNotAsked();
  ItemResult result = Update(item, prepared, transaction);
  if (!pause || pause->End()) return result;
  transaction.Spoil();
  return answers_.DatabaseNotAsked();
}

ItemResult FileCalls::RenameRows(const WorkItem& item, Json::Value record, Transaction& transaction) {
  const auto recorded = rows_.HasRow(item.kind, item.from);
  if (!recorded) return answers_.DatabaseNotAsked();
  if (!*recorded) return ItemResult::Stored();
  record["szPath"] = item.path;
  // The row of a video is written anew.
  const auto place =
      item.kind == ItemKind::kVideo ? rows_.PlaceOf(item.from) : std::optional<std::string>("");
  if (!place) return answers_.DatabaseNotAsked();
  const LentPosition position(item.path, *place);
  // What waits in side files at the new path is for the add that follows, or stays for a later one.
  const ConsumedFiles stay(transaction);
  const int result = plugin_.IndexRename_Json(&record, kIndexType, item.from.c_str());
  return answers_.ResultOfRemoval(result, item.kind, item.from);
}

std::string FileCalls::PlaceToStore(const WorkItem& item, const PreparedItem& prepared) {
  if (prepared.place.empty()) return "";
  const auto stored = rows_.PlaceOf(item.path);
  return stored && stored->empty() ? prepared.place : "";
}
