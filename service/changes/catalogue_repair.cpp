#include "changes/catalogue_repair.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <unordered_map>

#include "changes/catalogue_sql.h"
#include "changes/mount_record.h"
#include "common/path_parts.h"
#include "files/media_files.h"
#include "library/album_name.h"

namespace {

using EntrySink = std::function<void(CatalogueEntry)>;

// A time of day of this machine, as the probe writes it; 0 for anything else.
std::int64_t ModifiedIn(const std::string& text) {
  std::tm fields{};
  const char* end = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  if (end == nullptr || *end != '\0') return 0;
  fields.tm_isdst = -1;  // to be found out
  return std::mktime(&fields) * kNanosecondsOfSecond;
}

Outcome<Done> ReadRows(DatabaseReader& database, const Library& library, const char* sql, bool folders,
                       const EntrySink& take) {
  const auto rows = database.Query({"path", "size", "modified"}, sql);
  if (!rows) return Unreadable(database);
  for (const DatabaseReader::Row& row : *rows) {
    CatalogueEntry entry;
    entry.path = row.front().value_or("");
    if (!folders) entry.path = library.Below(library.PathOfFileKey(entry.path));
    entry.kind = folders ? ItemKind::kFolder : MediaKindOf(entry.path).value_or(ItemKind::kPhoto);
    entry.outcome = ItemOutcome::kPartial;
    entry.stamp.size = SqliteNumber(row[1].value_or(""));
    entry.stamp.modified = ModifiedIn(row.back().value_or(""));
    if (!entry.path.empty()) take(std::move(entry));
  }
  return Done{};
}

// An entry for each row of DATABASE.
Outcome<Done> ReadAllRows(DatabaseReader& database, const Library& library, const LibraryFacts& facts,
                          const EntrySink& take) {
  const MountRecord mounts = ParseMountText(facts.mounts.value_or(""));
  const auto place = [&](CatalogueEntry entry) {
    entry.stamp.device = facts.mounts ? RecordedDevice(mounts, entry.path) : kUnknownDevice;
    take(std::move(entry));
  };
  struct Source {
    const char* sql;
    bool folders;
  };
  constexpr std::array kSources{Source{kIndexedFolders, true}, Source{kIndexedPhotos, false},
                                Source{kIndexedVideos, false}};
  for (const auto& [sql, folders] : kSources) {
    if (auto read = ReadRows(database, library, sql, folders, place); !read) return read;
  }
  return Done{};
}

class RowComparison {
 public:
  // TRUSTS what the catalogue says of rows that are there; else it is good for their objects alone.
  RowComparison(Catalogue& catalogue, bool trusts) : catalogue_(catalogue), trusts_(trusts) {}

  void AddRow(CatalogueEntry row) {
    auto& rows = row.kind == ItemKind::kFolder ? folders_ : files_;
    std::string path = row.path;
    rows.emplace(std::move(path), std::move(row));
  }

  void UpdateCatalogue() {
    const std::vector<CatalogueEntry> folders = catalogue_.Folders();
    CompareFilesOf("");
    for (const CatalogueEntry& folder : folders) {
      // What has no entry of its own is no row either.
      const bool recorded = folder.outcome != ItemOutcome::kPartial || folder.stamp.inode != 0;
      if (recorded && (!trusts_ || NoAlbumReason(folder.path) == nullptr)) CompareEntry(folder, folders_);
      CompareFilesOf(folder.path);
    }
    for (const auto* rows : {&folders_, &files_}) {
      for (const auto& [path, row] : *rows) catalogue_.Put(row);
    }
  }

 private:
  using Rows = std::unordered_map<std::string, CatalogueEntry>;

  void CompareFilesOf(const std::string& folder) {
    std::string after;
    for (;;) {
      const std::vector<CatalogueEntry> files = catalogue_.Files(folder, after);
      if (files.empty()) return;
      for (const CatalogueEntry& file : files) CompareEntry(file, files_);
      after = NameOf(files.back().path);
    }
  }

  void CompareEntry(const CatalogueEntry& entry, Rows& rows) {
    const auto row = rows.find(entry.path);
    const bool has_row = row != rows.end() && row->second.kind == entry.kind;
    if (has_row) rows.erase(row);
    if (!trusts_ && !has_row) return catalogue_.Remove(entry.path, entry.kind);
    if (trusts_ && (has_row || !IsStored(entry.outcome))) return;
    CatalogueEntry unread = entry;
    unread.outcome = ItemOutcome::kPartial;
    catalogue_.Put(unread);
  }

  Catalogue& catalogue_;
  bool trusts_;
  Rows folders_;
  Rows files_;
};

Outcome<Done> CompareWithRows(RowComparison comparison, DatabaseReader& database, const Library& library,
                              const LibraryFacts& facts) {
  auto read =
      ReadAllRows(database, library, facts, [&](CatalogueEntry row) { comparison.AddRow(std::move(row)); });
  if (read) comparison.UpdateCatalogue();
  return read;
}

}  // namespace

Outcome<Done> FillFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                           const LibraryFacts& facts) {
  return ReadAllRows(database, library, facts, [&](const CatalogueEntry& row) { catalogue.Put(row); });
}

Outcome<Done> RepairFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                             const LibraryFacts& facts) {
  return CompareWithRows(RowComparison(catalogue, true), database, library, facts);
}

Outcome<Done> RestartFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                              const LibraryFacts& facts) {
  return CompareWithRows(RowComparison(catalogue, false), database, library, facts);
}
