#include "worker/folder_calls.h"

#include "files/gone.h"
#include "library/album_name.h"

namespace {

constexpr const char* kNoAlbum = "it has no row: the plug-in takes it for no folder of this library";

}  // namespace

ItemResult FolderCalls::Call(const WorkItem& item) {
  const char* path = item.path.c_str();
  if (item.action == ItemAction::kDelete) return Delete(item);
  if (item.path != library_.folder && NoAlbumReason(library_.Below(item.path)) != nullptr)
    return ItemResult::Stored();
  switch (item.action) {
    case ItemAction::kMove:
      return Move(item);
    case ItemAction::kReindex:
      // Its result is -1 whatever it did; the row tells.
      static_cast<void>(plugin_.IndexReindexDirUpdate(path));
      return answers_.ResultOf(item.path == library_.folder || rows_.HasAlbum(item.path) == true ? 0 : -1);
    default:
      return Add(item.path);
  }
}

// The plug-in answers the same for an album that it has stored and for a folder that it takes for none.
ItemResult FolderCalls::Add(const std::string& folder) {
  ItemResult added = answers_.ResultOf(plugin_.IndexDirAdd(folder.c_str()));
  if (!added.done() || folder == library_.folder) return added;
  const auto recorded = rows_.HasAlbum(folder);
  if (!recorded) return answers_.DatabaseNotAsked();
  return *recorded ? std::move(added) : ItemResult::NotKept(kNoAlbum);
}

// A move whose old rows are not there any more was made by a run that could not note it.
ItemResult FolderCalls::Move(const WorkItem& item) {
  const auto recorded = rows_.HasAlbum(item.from);
  if (!recorded) return answers_.DatabaseNotAsked();
  if (*recorded) {
    const int result = plugin_.IndexDirRename(item.path.c_str(), item.from.c_str());
    ItemResult moved = answers_.ResultOfRemoval(result, ItemKind::kFolder, item.from);
    if (!moved.done()) return moved;
  }
  return Add(item.path);
}

ItemResult FolderCalls::Delete(const WorkItem& item) {
  // It may be back since the scan, or out of reach.
  if (!IsGone(item.path, ItemKind::kFolder)) return ItemResult::NotKept("the folder is there again");
  return answers_.ResultOfRemoval(plugin_.IndexDirDelete(item.path.c_str()), ItemKind::kFolder, item.path);
}
