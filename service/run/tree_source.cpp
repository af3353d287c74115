#include "run/tree_source.h"

#include <utility>

#include "changes/survey.h"
#include "files/media_files.h"

Outcome<TreeSource> TreeSource::Start(const Library& library, Ledger& ledger) {
  auto walk = Walk::Start(library.folder);
  if (!walk) return walk.failure();
  return TreeSource(std::move(*walk), library, ledger);
}

std::optional<WorkItem> TreeSource::Next(ItemAction action) {
  while (auto entry = walk_.Next()) {
    if (!CountEntry(*entry, library_, counts_since_item_)) continue;
    WorkItem item;
    item.kind = entry->kind == EntryKind::kFolder ? ItemKind::kFolder : *MediaKindOf(entry->path);
    item.action = action;
    item.path = std::move(entry->path);
    item.stamp = entry->stamp;
    // The root has its number, too.
    mounted_ = entry->mounted_device != 0 && item.path != library_.folder;
    ledger_.NoteCountsBefore(item, TakeCountsSinceItem());
    return item;
  }
  return std::nullopt;
}

std::optional<WorkItem> FirstSource::Next() {
  if (behind_) return std::exchange(behind_, std::nullopt);
  auto item = tree_.Next(ItemAction::kAdd);
  if (!item) return item;
  item->stage = stage_;
  auto note = tree_.mounted() ? mounts_.BeforeRowsOn(library_.Below(item->path), item->stamp.device)
                              : mounts_.BeforeFirstRows();
  if (!note) return item;
  note->stage = ++stage_;
  item->stage = ++stage_;
  behind_ = std::move(item);
  return note;
}
