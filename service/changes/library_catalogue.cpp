#include "changes/library_catalogue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <sstream>
#include <string_view>

#include "changes/catalogue_generation.h"
#include "changes/catalogue_repair.h"
#include "changes/catalogue_sql.h"
#include "common/display.h"
#include "common/error_text.h"
#include "files/file_system_id.h"
#include "files/open_folder.h"

namespace {

constexpr const char* kRootFact = "root";
constexpr const char* kDatabaseFact = "database";
constexpr const char* kMarkedFact = "marked";
constexpr const char* kMountsFact = "mounts";
constexpr const char* kRootAlbumFact = "root_album";
constexpr const char* kReaderFact = "reader";
constexpr const char* kSurveyedFact = "surveyed";
constexpr const char* kOtherDatabaseSuffix = ".other";
constexpr const char* kBetweenSuffix = ".exchange";

struct ObjectIdentity {
  std::string device;
  std::string object;  // inode and birth
  bool has_birth = false;
};

std::optional<ObjectIdentity> IdentityOf(const std::string& path) {
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return std::nullopt;
  std::ostringstream device;
  device << status.stx_dev_major << ':' << status.stx_dev_minor;
  std::ostringstream object;
  object << status.stx_ino;
  const bool has_birth = (status.stx_mask & STATX_BTIME) != 0;
  if (has_birth) object << '/' << status.stx_btime.tv_sec << '.' << status.stx_btime.tv_nsec;
  return ObjectIdentity{device.str(), object.str(), has_birth};
}

// Nothing but the library's own files is in FOLDER.
bool IsEmptyFolder(const std::string& folder) {
  const OpenFolder listing(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!listing) return false;
  while (const dirent* entry = listing.Next()) {
    if (*entry->d_name != '.') return false;
  }
  return true;
}

// What tells a library's database from others; "" when there is none. Out of reach is not the same as not
// there.
Outcome<std::string> IdentityOfFile(const std::string& file) {
  if (const auto identity = IdentityOf(file)) return identity->object;
  if (errno == ENOENT) return std::string();
  return Failure{ExitStatus::kDatabase, AboutFile(file, ErrorText(errno))};
}

// Another server, another database or tables made anew are another identity.
Outcome<std::string> IdentityOnServer(const Library& library) {
  DatabaseReader database = DatabaseReader::Open(library);
  const auto rows = database.Query({"identity"}, kServerIdentity);
  if (!rows || rows->empty()) return Unreadable(database);
  return rows->front().front().value_or("");
}

Outcome<std::string> IdentityOfDatabase(const Library& library) {
  return library.shared() ? IdentityOnServer(library) : IdentityOfFile(library.database());
}

void SetFact(Catalogue& catalogue, const char* fact, const std::optional<std::string>& value) {
  if (catalogue.facts().Find(fact) == value) return;
  value ? catalogue.facts().Put(fact, *value) : catalogue.facts().Remove(fact);
}

// Where it may not be written, that is what is wrong, whatever it is that SQLite meets first.
Failure UnusableDatabase(const Library& library, const DatabaseReader& database) {
  if (library.shared()) return Unreadable(database);
  const std::string file = library.database();
  const bool writable = access(file.c_str(), W_OK) == 0;
  const std::string why = writable ? database.error() : "cannot be written: " + ErrorText(errno);
  return {ExitStatus::kDatabase, AboutFile(file, why)};
}

// What is in the database must not be forgotten with the catalogue: rows of files that went meanwhile would
// stay for ever.
Outcome<Done> MakeAnew(Catalogue& catalogue, const Library& library, const std::string& identity) {
  DatabaseReader database = DatabaseReader::Open(library);
  if (!identity.empty() && !(database && database.IsReadable())) return UnusableDatabase(library, database);
  catalogue.Clear();
  catalogue.facts().Remove(kRootAlbumFact);
  SetFact(catalogue, kSurveyedFact, std::nullopt);
  LibraryFacts facts;
  if (database && database.HasSchema()) {
    auto found = ReadFacts(database);
    if (!found) return found.failure();
    facts = std::move(*found);
    if (auto put = FillFromRows(catalogue, database, library, facts); !put) return put;
  }
  NoteGenerationsAsNew(catalogue, facts);
  catalogue.facts().Put(kFileSystemsFact, "");
  catalogue.facts().Put(kDatabaseFact, identity);
  catalogue.Commit();
  return Done{};
}

bool Exists(const std::string& file) {
  return access(file.c_str(), F_OK) == 0;
}

// What a run that was killed while it exchanged two catalogues has left between them goes on to its place, or
// back.
void FinishExchange(const std::string& file) {
  const std::string between = file + kBetweenSuffix;
  if (!Exists(between)) return;
  for (const std::string& place : {file, file + kOtherDatabaseSuffix}) {
    if (!Exists(place)) return static_cast<void>(std::rename(between.c_str(), place.c_str()));
  }
}

bool SwapFiles(const std::string& file, const std::string& other) {
  const std::string between = file + kBetweenSuffix;
  const bool had_other = std::rename(other.c_str(), between.c_str()) == 0;
  if (!had_other && errno != ENOENT) return false;
  if (std::rename(file.c_str(), other.c_str()) != 0) return false;
  return !had_other || std::rename(between.c_str(), file.c_str()) == 0;
}

// The catalogue of the database IDENTITY, in place of CATALOGUE, which speaks of another one.
Outcome<Catalogue> ForDatabase(Catalogue catalogue, const std::string& file, const Library& library,
                               const std::string& identity) {
  const std::string other = file + kOtherDatabaseSuffix;
  const bool worth_keeping = catalogue.FileCount() > 0;
  // Its file gets another name, so it has to be closed.
  if (worth_keeping && !catalogue.store().EndLog()) return *catalogue.failure();
  { const Catalogue closed = std::move(catalogue); }
  if (worth_keeping && !SwapFiles(file, other)) {
    return Failure{ExitStatus::kConfiguration, AboutFile(file, ErrorText(errno))};
  }
  auto opened = Catalogue::Open(file);
  if (!opened || (!identity.empty() && opened->facts().Find(kDatabaseFact) == identity)) return opened;
  if (auto made = MakeAnew(*opened, library, identity); !made) return made.failure();
  if (opened->failure()) return *opened->failure();
  return opened;
}

// CATALOGUE speaks of the database IDENTITY as it is now.
Outcome<Done> BringInStep(Catalogue& catalogue, const Library& library, const std::string& identity) {
  DatabaseReader database = DatabaseReader::OpenForReading(library);
  if (!database) return Unreadable(database);
  const auto facts = ReadFacts(database);
  if (!facts) return UnusableDatabase(library, database);
  SetFact(catalogue, kMarkedFact, facts->marked ? std::optional<std::string>("") : std::nullopt);
  SetFact(catalogue, kMountsFact, facts->mounts);
  const CatalogueStanding standing = StandingOf(ReadNotedGenerations(catalogue), *facts);
  if (standing == CatalogueStanding::kInStep) return Done{};
  SetFact(catalogue, kSurveyedFact, std::nullopt);
  const bool other = standing == CatalogueStanding::kUnrelated;
  if (other) catalogue.facts().Remove(kRootAlbumFact);
  if (other && !database.HasSchema()) return MakeAnew(catalogue, library, identity);
  if (auto agreed = other ? RestartFromRows(catalogue, database, library, *facts)
                          : RepairFromRows(catalogue, database, library, *facts);
      !agreed)
    return agreed;
  other ? NoteGenerationsAsNew(catalogue, *facts) : NoteGenerations(catalogue, *facts);
  catalogue.Commit();
  return Done{};
}

// A database that is there has to be read for it; one that is not knows nothing.
Outcome<Catalogue> InStepWithDatabase(Outcome<Catalogue> catalogue, const Library& library,
                                      const std::string& identity) {
  if (!catalogue) return catalogue;
  if (identity.empty()) {
    SetFact(*catalogue, kMarkedFact, std::nullopt);
    SetFact(*catalogue, kMountsFact, std::nullopt);
    return catalogue;
  }
  if (auto in_step = BringInStep(*catalogue, library, identity); !in_step) return in_step.failure();
  if (catalogue->failure()) return *catalogue->failure();
  return catalogue;
}

// A later program may read what an earlier one could not.
void RetryForNewReader(Catalogue& catalogue) {
  if (catalogue.facts().Find(kReaderFact) == kReaderVersion) return;
  catalogue.RetryFailedFiles();
  SetFact(catalogue, kSurveyedFact, std::nullopt);
  catalogue.facts().Put(kReaderFact, kReaderVersion);
  catalogue.Commit();
}

}  // namespace

std::string CatalogueFile(const StateRoot& root, const Library& library) {
  return root.Place(library.StateFolder() + "/catalogue.db");
}

Outcome<Catalogue> OpenLibraryCatalogue(const std::string& file, const Library& library, bool accepts_loss) {
  FinishExchange(file);
  auto catalogue = Catalogue::Open(file);
  if (!catalogue) return catalogue;
  const auto database = IdentityOfDatabase(library);
  if (!database) return database.failure();
  if (database->empty() && !accepts_loss && catalogue->FileCount() > 0 &&
      (RootChanged(*catalogue, library) || IsEmptyFolder(library.folder))) {
    return Failure{ExitStatus::kLoss,
                   Visible(library.folder) +
                       ": neither the database nor the files of earlier runs are here; nothing was done. Is "
                       "a disk not mounted? (--accept-loss begins anew)"};
  }
  const bool other = database->empty() || catalogue->facts().Find(kDatabaseFact).value_or("") != *database;
  auto in_step = InStepWithDatabase(
      other ? ForDatabase(std::move(*catalogue), file, library, *database) : std::move(catalogue), library,
      *database);
  if (!in_step) return in_step;
  RetryForNewReader(*in_step);
  if (in_step->failure()) return *in_step->failure();
  return in_step;
}

bool HasMarkedRows(Catalogue& catalogue) {
  return catalogue.facts().Find(kMarkedFact).has_value();
}

bool WasSurveyed(Catalogue& catalogue) {
  return catalogue.facts().Find(kSurveyedFact).has_value();
}

void NoteSurveyed(Catalogue& catalogue) {
  SetFact(catalogue, kSurveyedFact, "");
}

std::optional<MountRecord> NotedMounts(Catalogue& catalogue) {
  const auto noted = catalogue.facts().Find(kMountsFact);
  return noted ? std::optional(ParseMountText(*noted)) : std::nullopt;
}

MountRecord MountsInDatabase(Catalogue& catalogue) {
  return NotedMounts(catalogue).value_or(MountRecord());
}

void NoteMountsInDatabase(Catalogue& catalogue, const std::string& mounts) {
  catalogue.facts().Put(kMountsFact, mounts);
}

bool IsFirstRun(Catalogue& catalogue) {
  return catalogue.FileCount() == 0 && catalogue.Folders().empty() && !catalogue.facts().Find(kRootAlbumFact);
}

void NoteRootAlbum(Catalogue& catalogue) {
  SetFact(catalogue, kRootAlbumFact, "");
}

bool RootChanged(Catalogue& catalogue, const Library& library) {
  const auto recorded = catalogue.facts().Find(kRootFact);
  const auto now = IdentityOf(library.folder);
  if (!recorded || !now) return false;
  if (*recorded == now->device + " " + now->object) return false;
  // The number of a device changes when a disk is mounted again; a birth time makes sure of the folder.
  return !now->has_birth || !recorded->ends_with(" " + now->object);
}

void NoteRoot(Catalogue& catalogue, const Library& library) {
  const auto now = IdentityOf(library.folder);
  if (!now) return;
  const std::string identity = now->device + " " + now->object;
  if (catalogue.facts().Find(kRootFact) != identity) catalogue.facts().Put(kRootFact, identity);
}

void NoteDatabase(Catalogue& catalogue, const Library& library) {
  // The shared one was there when the catalogue was opened.
  if (library.shared() || !catalogue.facts().Find(kDatabaseFact).value_or("").empty()) return;
  const auto identity = IdentityOfFile(library.database());
  if (identity && !identity->empty()) catalogue.facts().Put(kDatabaseFact, *identity);
}
