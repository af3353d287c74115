#include "changes/catalogue.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <set>
#include <thread>

#include "base/file_descriptor.h"
#include "changes/catalogue_sql.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/path_parts.h"
#include "files/file_system_id.h"

namespace {

constexpr mode_t kPrivateFile = 0600;
const DatabaseReader::Columns kEntryColumns{"folder", "name", "facts"};

std::string Text(std::uint64_t number) {
  return std::to_string(static_cast<std::int64_t>(number));
}

std::vector<CatalogueEntry> EntriesOf(const std::vector<DatabaseReader::Row>& rows) {
  std::vector<CatalogueEntry> entries;
  entries.reserve(rows.size());
  for (const DatabaseReader::Row& row : rows) {
    if (row.back()) entries.push_back(EntryOf(row[0].value_or(""), row[1].value_or(""), *row.back()));
  }
  return entries;
}

Outcome<DatabaseReader> TryOpen(const std::string& file) {
  const FileDescriptor made(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivateFile));
  if (!made) return Failure{ExitStatus::kConfiguration, ErrorText(errno)};
  DatabaseReader database(file);
  if (!database || !database.Run(kMakeCatalogue) || !database.Query({"count"}, kCountFiles) ||
      !database.Query({"value"}, kFact, std::string(kFileSystemsFact))) {
    return Failure{ExitStatus::kConfiguration, database.error()};
  }
  return database;
}

// No catalogue, whatever it was: what is said of a disk, of memory or of a lock is said of those alone.
bool IsNone(const Failure& failure) {
  constexpr std::array kTexts{"file is not a database", "malformed", "no such table", "no such column",
                              "Its schema is not ours"};
  return std::any_of(kTexts.begin(), kTexts.end(),
                     [&](const char* text) { return failure.message.find(text) != std::string::npos; });
}

}  // namespace

Outcome<Catalogue> Catalogue::Open(const std::string& file) {
  auto database = TryOpen(file);
  if (!database && IsNone(database.failure())) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) unlink((file + suffix).c_str());
    database = TryOpen(file);
  }
  if (database) return Catalogue(file, std::move(*database));
  return Failure{ExitStatus::kConfiguration,
                 Visible(file) + ": the catalogue cannot be opened: " + database.failure().message};
}

Catalogue::~Catalogue() {
  if (database_) Commit();
}

template <typename... Values>
std::vector<DatabaseReader::Row> Catalogue::Select(const DatabaseReader::Columns& columns, const char* sql,
                                                   const Values&... values) {
  auto rows = database_.Query(columns, sql, values...);
  if (rows) return std::move(*rows);
  if (!failure_) failure_ = Failure{ExitStatus::kConfiguration, file_ + ": " + database_.error()};
  return {};
}

template <typename... Values>
void Catalogue::Change(const char* sql, const Values&... values) {
  if (!changing_) Select({}, kBeginCatalogue);
  changing_ = true;
  Select({}, sql, values...);
}

std::vector<CatalogueEntry> Catalogue::Files(const std::string& folder, const std::string& after) {
  return EntriesOf(after.empty() ? Select(kEntryColumns, kFirstFilesOfFolder, folder)
                                 : Select(kEntryColumns, kFilesOfFolder, folder, after));
}

std::optional<CatalogueEntry> Catalogue::Find(const std::string& path, ItemKind kind) {
  const auto found = EntriesOf(Select(kEntryColumns, kOneEntry, FolderOf(path), RecordedName(path, kind)));
  return found.empty() ? std::nullopt : std::optional(found.front());
}

std::vector<CatalogueEntry> Catalogue::Folders() {
  std::vector<CatalogueEntry> folders = EntriesOf(Select(kEntryColumns, kAllFolders));
  std::set<std::string> known;
  for (const CatalogueEntry& folder : folders) known.insert(folder.path);
  for (const DatabaseReader::Row& row : Select({"folder"}, kParentFolders)) {
    for (std::string path = row.front().value_or(""); !path.empty(); path = FolderOf(path)) {
      if (!known.insert(path).second) break;
      folders.push_back({path, ItemKind::kFolder, {}, "", ItemOutcome::kPartial});
    }
  }
  return folders;
}

std::size_t Catalogue::FileCount() {
  const auto rows = Select({"count"}, kCountFiles);
  return rows.empty() ? 0 : static_cast<std::size_t>(SqliteNumber(rows.front().front().value_or("")));
}

void Catalogue::Put(const CatalogueEntry& entry) {
  const FileStamp& stamp = entry.stamp;
  Change(kPutEntry, FolderOf(entry.path), RecordedName(entry.path, entry.kind),
         Text(static_cast<std::uint64_t>(entry.kind)), Text(stamp.device), Text(stamp.inode),
         std::to_string(stamp.birth), std::to_string(stamp.size), std::to_string(stamp.modified),
         std::to_string(stamp.changed), entry.fingerprint, StateOf(entry.outcome), entry.reason);
}

void Catalogue::Remove(const std::string& path, ItemKind kind) {
  Change(kind == ItemKind::kFolder ? kRemoveFolder : kRemoveFile, FolderOf(path), RecordedName(path, kind));
}

void Catalogue::RemoveTree(const std::string& folder) {
  Remove(folder, ItemKind::kFolder);
  Change(kRemoveBelow, folder, folder, folder);
}

void Catalogue::MoveToDevice(const std::string& folder, std::uint64_t from, std::uint64_t to) {
  Change(kMoveToDevice, Text(to), Text(from), folder, folder, folder, FolderOf(folder),
         RecordedName(folder, ItemKind::kFolder));
}

void Catalogue::TryTroublesAgain() {
  Change(kForgetTrials);
}

void Catalogue::Clear() {
  Change(kRemoveEntries);
}

void Catalogue::Commit() {
  if (changing_) Select({}, kCommitCatalogue);
  changing_ = false;
}

void Catalogue::MakeDurable() {
  Commit();  // inside a transaction it could not be switched
  Select({}, kDurableCatalogue);
}

bool Catalogue::EndLog() {
  constexpr int kTries = 100;
  constexpr std::chrono::milliseconds kPause{100};
  Commit();
  for (int i = 0; i < kTries && !failure_; ++i) {
    if (database_.Run(kEndCatalogueLog)) return true;
    std::this_thread::sleep_for(kPause);
  }
  if (!failure_) failure_ = Failure{ExitStatus::kConfiguration, Visible(file_) + ": " + database_.error()};
  return false;
}

std::optional<std::string> Catalogue::Fact(const std::string& name) {
  const auto rows = Select({"value"}, kFact, name);
  return rows.empty() ? std::nullopt : rows.front().front();
}

void Catalogue::PutFact(const std::string& name, const std::string& value) {
  Change(kPutFact, name, value);
}

void Catalogue::RemoveFact(const std::string& name) {
  Change(kRemoveFact, name);
}
