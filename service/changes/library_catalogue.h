// The catalogue of a library, and whether it still speaks of the folder and database that are there.
#ifndef SERVICE_CHANGES_LIBRARY_CATALOGUE_H_
#define SERVICE_CHANGES_LIBRARY_CATALOGUE_H_

#include <optional>
#include <string>

#include "changes/catalogue.h"
#include "changes/mount_record.h"
#include "common/outcome.h"
#include "library/library.h"
#include "library/state_root.h"

// Raised when files that could not be read, or not wholly, are to be tried again.
inline constexpr const char* kReaderVersion = "3";

std::string CatalogueFile(const StateRoot& root, const Library& library);

// Opens FILE. A catalogue of another database than the library's of today is set aside, until that database
// is back, and made anew from the rows of the one that is there; so is one of a later state of the database.
// One that a killed run has left behind is made to agree with the rows. Fails with kLoss when there is
// neither the database nor the folder that the catalogue knows, unless that ACCEPTS_LOSS.
Outcome<Catalogue> OpenLibraryCatalogue(const std::string& file, const Library& library, bool accepts_loss);

// A full reindex of an earlier run has marked rows and has not come to its end, as the opening found.
bool HasMarkedRows(Catalogue& catalogue);

// What the database knows of the file systems below the library, as the opening found it or was noted since.
// Nothing where it was never noted.
std::optional<MountRecord> NotedMounts(Catalogue& catalogue);
MountRecord MountsInDatabase(Catalogue& catalogue);
void NoteMountsInDatabase(Catalogue& catalogue, const std::string& mounts);

// A run has looked at the whole library since the catalogue was made or brought in step with the database; as
// long as none has, looking at a part is not enough.
bool WasSurveyed(Catalogue& catalogue);
void NoteSurveyed(Catalogue& catalogue);

// The folder is not the one that the catalogue was made of: another disk, or something in its place.
bool RootChanged(Catalogue& catalogue, const Library& library);
// Nothing of the library was ever stored, its own album neither.
bool IsFirstRun(Catalogue& catalogue);
// The library's own album is in the database.
void NoteRootAlbum(Catalogue& catalogue);

// From now on the catalogue speaks of the folder that is there.
void NoteRoot(Catalogue& catalogue, const Library& library);
// Notes the database of today, where there was none when the catalogue was opened. Another one that takes its
// place later is not what the catalogue speaks of.
void NoteDatabase(Catalogue& catalogue, const Library& library);

#endif  // SERVICE_CHANGES_LIBRARY_CATALOGUE_H_
