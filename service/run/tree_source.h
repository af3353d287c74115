// What is sent of a whole library, in the order of a walk through it.
#ifndef SERVICE_RUN_TREE_SOURCE_H_
#define SERVICE_RUN_TREE_SOURCE_H_

#include <cstdint>
#include <optional>

#include "changes/mount_notes.h"
#include "common/outcome.h"
#include "files/walk.h"
#include "library/library.h"
#include "run/ledger.h"
#include "work/work_item.h"

// Every folder, photo and video; the rest is counted on the way. LEDGER outlives it.
class TreeSource {
 public:
  static Outcome<TreeSource> Start(const Library& library, Ledger& ledger);

  std::optional<WorkItem> Next(ItemAction action);
  // Another file system than that of the folder above begins at what Next gave last.
  bool mounted() const { return mounted_; }
  // What was counted behind what Next gave last; behind the last of all, that belongs to no item.
  SurveyCounts TakeCountsSinceItem() { return std::exchange(counts_since_item_, {}); }

 private:
  TreeSource(Walk walk, const Library& library, Ledger& ledger)
      : walk_(std::move(walk)), library_(library), ledger_(ledger) {}

  Walk walk_;
  Library library_;
  Ledger& ledger_;
  SurveyCounts counts_since_item_;
  bool mounted_ = false;
};

// The items of a library that has none yet. The database is told of each file system before it gets rows of
// what lies there: the stages see to that. TREE and MOUNTS outlive it.
class FirstSource {
 public:
  FirstSource(TreeSource& tree, MountNotes& mounts, const Library& library)
      : tree_(tree), mounts_(mounts), library_(library) {}

  std::optional<WorkItem> Next();

 private:
  TreeSource& tree_;
  MountNotes& mounts_;
  Library library_;
  std::optional<WorkItem> behind_;  // follows the note of its file system
  std::uint32_t stage_ = 0;
};

#endif  // SERVICE_RUN_TREE_SOURCE_H_
