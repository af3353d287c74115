#ifndef SERVICE_RUN_RUN_RECORDS_H_
#define SERVICE_RUN_RUN_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "changes/catalogue.h"
#include "changes/catalogue_generation.h"
#include "common/event_loop.h"
#include "library/library.h"
#include "work/work_item.h"

// What a run leaves in the catalogue: of each item what the next run has to know, and which state of the
// database all of it speaks of. Used by the thread of the run.
class RunRecords {
 public:
  // CATALOGUE, which is the library's, outlives it.
  RunRecords(const Library& library, Catalogue& catalogue);

  // The library's database is there.
  void LibraryOpen();
  // The name of the run, noted before anything of it is sent.
  const RunName& Begin() { return generations_.Begin(); }
  // Every item of a transaction is recorded; GENERATION is the database's since then.
  void NoteKept(std::uint64_t generation) { generations_.Note(generation); }
  // What waits to be sent, as far as it must be known though the run is killed.
  void NoteWaiting(const std::vector<WorkItem>& items);

  // ITEM as it was read, and what came of it.
  void Put(const WorkItem& item, const ItemResult& result);
  // The rows of ITEM are gone, whoever has deleted them.
  void Forget(const WorkItem& item);
  // The same, with everything below it where it is a folder.
  void ForgetTree(const WorkItem& item);
  // What moved has no rows under its old name any more.
  void ForgetOldName(const WorkItem& item);
  // The library's own folder has its album.
  void NoteRootAlbum();
  // What the database knows of mounts, as its text.
  void NoteMounts(const std::string& mounts);
  // Rows are marked by a full reindex.
  void NoteMarked(bool marked) { marked_ = marked; }
  bool marked() const { return marked_; }

  // An earlier run came to the same with this item, whose content is the same.
  bool WasReportedBefore(const WorkItem& item, const ItemResult& result);
  // ITEM is not known yet, or an earlier run has left something of it to be done.
  bool Waits(const WorkItem& item);

  // Files whose rows went because they are gone.
  std::size_t lost_files() const { return lost_files_; }

  // Once a second, and when that is wanted SOON.
  void CommitWhenDue(Moment now);
  void CommitSoon() { soon_ = true; }
  // Everything is recorded. COMPLETE: the folder is the one that the catalogue speaks of.
  void Close(bool complete);

 private:
  // Of what is recorded of ITEM, under its old path if it moved.
  std::optional<CatalogueEntry> Recorded(const WorkItem& item);
  std::string Key(const std::string& path) const { return library_.Below(path); }

  Library library_;
  Catalogue& catalogue_;
  GenerationNotes generations_;
  bool marked_;
  std::size_t lost_files_ = 0;
  bool soon_ = false;
  Moment committed_{};
};

#endif  // SERVICE_RUN_RUN_RECORDS_H_
