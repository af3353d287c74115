#include "changes/catalogue.h"

#include <algorithm>
#include <set>

#include "changes/catalogue_sql.h"
#include "common/path_parts.h"

namespace {

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

}  // namespace

Outcome<Catalogue> Catalogue::Open(const std::string& file) {
  auto opened = CatalogueStore::Open(file);
  if (!opened) return opened.failure();
  return Catalogue(std::move(*opened));
}

std::vector<CatalogueEntry> Catalogue::Files(const std::string& folder, const std::string& after) {
  return EntriesOf(after.empty() ? store_->Select(kEntryColumns, kFirstFilesOfFolder, folder)
                                 : store_->Select(kEntryColumns, kFilesOfFolder, folder, after));
}

std::optional<CatalogueEntry> Catalogue::Find(const std::string& path, ItemKind kind) {
  const auto found =
      EntriesOf(store_->Select(kEntryColumns, kOneEntry, FolderOf(path), RecordedName(path, kind)));
  return found.empty() ? std::nullopt : std::optional(found.front());
}

std::vector<CatalogueEntry> Catalogue::Folders() {
  std::vector<CatalogueEntry> folders = EntriesOf(store_->Select(kEntryColumns, kAllFolders));
  std::set<std::string> known;
  for (const CatalogueEntry& folder : folders) known.insert(folder.path);
  for (const DatabaseReader::Row& row : store_->Select({"folder"}, kParentFolders)) {
    for (std::string path = row.front().value_or(""); !path.empty(); path = FolderOf(path)) {
      if (!known.insert(path).second) break;
      folders.push_back({path, ItemKind::kFolder, {}, "", ItemOutcome::kPartial});
    }
  }
  return folders;
}

std::size_t Catalogue::FileCount() {
  const auto rows = store_->Select({"count"}, kCountFiles);
  return rows.empty() ? 0 : static_cast<std::size_t>(SqliteNumber(rows.front().front().value_or("")));
}

void Catalogue::Put(const CatalogueEntry& entry) {
  const FileStamp& stamp = entry.stamp;
  store_->Change(kPutEntry, FolderOf(entry.path), RecordedName(entry.path, entry.kind),
                 Text(static_cast<std::uint64_t>(entry.kind)), Text(stamp.device), Text(stamp.inode),
                 std::to_string(stamp.birth), std::to_string(stamp.size), std::to_string(stamp.modified),
                 std::to_string(stamp.changed), entry.fingerprint, StateOf(entry.outcome), entry.reason);
}

void Catalogue::Remove(const std::string& path, ItemKind kind) {
  store_->Change(kind == ItemKind::kFolder ? kRemoveFolder : kRemoveFile, FolderOf(path),
                 RecordedName(path, kind));
}

void Catalogue::RemoveTree(const std::string& folder) {
  Remove(folder, ItemKind::kFolder);
  store_->Change(kRemoveBelow, folder, folder, folder);
}

void Catalogue::MoveToDevice(const std::string& folder, std::uint64_t from, std::uint64_t to) {
  store_->Change(kMoveToDevice, Text(to), Text(from), folder, folder, folder, FolderOf(folder),
                 RecordedName(folder, ItemKind::kFolder));
}

void Catalogue::RetryFailedFiles() {
  store_->Change(kForgetTrials);
}

void Catalogue::Clear() {
  store_->Change(kRemoveEntries);
}
