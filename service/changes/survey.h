// Compares a library's folder, or a part of it, with the catalogue: a walk that opens no file. Folder by
// folder; only the differences are held.
#ifndef SERVICE_CHANGES_SURVEY_H_
#define SERVICE_CHANGES_SURVEY_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "changes/catalogue.h"
#include "changes/survey_counts.h"
#include "files/walk.h"
#include "files/walk_scope.h"
#include "library/library.h"

// A file or folder that is not as the catalogue has it.
struct Arrival {
  std::string path;  // below the library
  ItemKind kind = ItemKind::kPhoto;
  FileStamp stamp;
  bool known = false;     // the catalogue has one of that kind under this path
  bool replaces = false;  // and it was another one
  // What it replaces may be out of reach with its file system, and this is not the same: a folder, or a file
  // of another content.
  bool hides = false;
};

struct Differences {
  SurveyCounts counts;          // what was skipped, failed, unchanged or failed before
  std::deque<Arrival> folders;  // parents first
  std::deque<Arrival> files;
  // Not there any more, for sure.
  std::vector<CatalogueEntry> gone_folders;
  std::vector<CatalogueEntry> gone_files;
  // Something else stands under their paths.
  std::vector<CatalogueEntry> replaced_folders;
  std::vector<CatalogueEntry> replaced_files;
  std::size_t recorded_files = 0;  // of the whole library
  bool root_empty = true;          // no file and no folder that counts; false where not all names are meant
  std::set<std::string> unknown;   // paths that could not be looked at, and all below them
  // Folders on another file system than the one above them; those on the way to the scope, too.
  std::map<std::string, std::uint64_t> mounts;
};

// PATH or a folder above it is one of FOLDERS; "" is the library itself.
bool LiesInOne(const std::set<std::string>& folders, const std::string& path);

// Adds ENTRY to COUNTS as far as the walk can tell; true for an item: a folder, photo or video.
bool CountEntry(const WalkEntry& entry, const Library& library, SurveyCounts& counts);

// The folder of LIBRARY has no file and no folder directly in it that counts, as far as it can be listed.
bool HoldsNothing(const Library& library);

// Whether what is being looked for is wanted no more; asked often. It may be empty.
using StopQuestion = std::function<bool()>;

// One walk and its comparison. Used by one thread, as the catalogue is.
//
// Of what lies in its scope it tells what the survey of the whole library would tell, and of nothing else; a
// folder of the scope that is gone is gone with everything below it, whatever the scope says of that. What
// lies behind something that cannot be looked at is unknown; a folder that is meant by its name alone is not
// listed, so it is not known whether it could be.
class Survey {
 public:
  // SCOPE is of paths below the library. What it borrows outlives it.
  Survey(const Library& library, Catalogue& catalogue, const WalkScope& scope = WalkScope::Whole())
      : library_(library), catalogue_(catalogue), scope_(scope) {}

  // Walks the scope to its end, or until STOPPED: what was found then says nothing about what is gone.
  Outcome<Differences> Run(const StopQuestion& stopped = nullptr);

 private:
  void HandleEntry(const WalkEntry& entry, const std::string& path);
  void PassOnTheWay(const WalkEntry& entry, const std::string& path);
  void EnterFolder(const WalkEntry& entry, const std::string& path);
  void CompareFolder(const WalkEntry& entry, const std::string& path, const CatalogueEntry* recorded);
  void TakeFile(const WalkEntry& entry, const std::string& path);
  void CompareFile(const WalkEntry& entry, const std::string& path, const CatalogueEntry& recorded);
  // What the catalogue has of the current folder up to PATH (all of it when null) and was not met is gone.
  // The entry of PATH itself, when there is one.
  const CatalogueEntry* AdvanceTo(const std::string* path);
  // PATH is the current folder from here on, and of its files those in PART are compared.
  void TurnTo(const std::string& path, const WalkScope::Part& part);
  // The files of the current folder that come after AFTER.
  void FetchRecorded(const std::string& after);
  void NoteGone(const CatalogueEntry& file);
  // ENTRY was on another file system than its folder is now.
  bool IsElsewhere(const CatalogueEntry& entry) const;
  CatalogueEntry WithElsewhere(CatalogueEntry entry) const;
  // An earlier catalogue had the numbers of devices in its stamps.
  void ReplaceDeviceNumbers(const WalkEntry& mounted, const std::string& path);
  // The device, for stamps, of the nearest folder above PATH that is there.
  std::uint64_t DeviceAt(const std::string& path) const;
  void GatherLostFolders();

  const Library& library_;
  Catalogue& catalogue_;
  const WalkScope& scope_;
  Differences differences_;
  std::map<std::string, CatalogueEntry> unmet_folders_;  // recorded and not met yet
  bool has_device_numbers_ = false;                      // the catalogue has the numbers of devices
  std::uint64_t root_device_number_ = 0;

  std::string folder_;  // the current one
  WalkScope::Part part_;
  std::vector<CatalogueEntry> recorded_;  // some of its files
  std::size_t next_recorded_ = 0;
  bool more_recorded_ = false;  // than were met
  bool all_fetched_ = false;    // none come after those
};

#endif  // SERVICE_CHANGES_SURVEY_H_
