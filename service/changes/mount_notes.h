#ifndef SERVICE_CHANGES_MOUNT_NOTES_H_
#define SERVICE_CHANGES_MOUNT_NOTES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "changes/mount_record.h"
#include "changes/plan.h"
#include "library/library.h"
#include "work/work_item.h"

// Lets a library's database know of the file systems below its folder: before it gets rows of what lies on
// them, and of their end when it has no such rows any more. Used by one thread.
class MountNotes {
 public:
  // KNOWN is what the database knows; nothing where only earlier programs have written, that did not note it.
  MountNotes(const Library& library, std::optional<MountRecord> known)
      : library_(library), known_(std::move(known)) {}

  // Each gives what is to be sent, nothing when the database knows already.
  //
  // Before what PLAN, of SCOPE, adds.
  std::optional<WorkItem> BeforeAdding(const Plan& plan, const WalkScope& scope = WalkScope::Whole());
  // After all of it, deletes too; of the plan of the whole library.
  std::optional<WorkItem> AfterDeletes(const Plan& plan);
  // Before the first rows of all.
  std::optional<WorkItem> BeforeFirstRows() { return NoteIfNew(known_.value_or(MountRecord())); }
  // Before what is on the file system DEVICE, which begins at PATH below the library.
  std::optional<WorkItem> BeforeRowsOn(const std::string& path, std::uint64_t device);

 private:
  std::optional<WorkItem> NoteIfNew(MountRecord mounts);

  Library library_;
  std::optional<MountRecord> known_;  // or on its way
};

#endif  // SERVICE_CHANGES_MOUNT_NOTES_H_
