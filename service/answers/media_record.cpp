#include "answers/media_record.h"

#include <algorithm>
#include <array>

#include "common/path_parts.h"
#include "database/queries_sql.h"
#include "library/album_name.h"

namespace {

using Rows = std::vector<DatabaseReader::Row>;

const std::vector<const char*> kLabelColumns{"id", "category", "name", "info", "info_new", "status"};
enum LabelColumn : std::size_t {
  kLabelId,
  kLabelCategory,
  kLabelName,
  kLabelInfo,
  kLabelInfoNew,
  kLabelStatus
};
const std::vector<const char*> kListColumns{"path", "timetaken", "size", "resolutionx", "resolutiony"};
enum ListColumn : std::size_t { kListPath, kListTaken, kListSize, kListWidth, kListHeight };
constexpr const char* kPeopleCategory = "0";

template <typename Columns>
std::vector<const char*> NamesOf(const Columns& columns) {
  std::vector<const char*> names;
  names.reserve(std::size(columns));
  for (const Column& column : columns) names.push_back(column.name);
  return names;
}

std::string ValueOrEmpty(const std::optional<std::string>& value) {
  return value.value_or("");
}

// The value of column NAME in the record's row; "" when it is NULL or there is no such column.
std::string Field(const MediaRecord& record, std::string_view name) {
  for (const auto& [column, value] : record.row) {
    if (column.name == name) return ValueOrEmpty(value);
  }
  return "";
}

void AddLabels(const Rows& rows, MediaRecord& record) {
  for (const auto& row : rows) {
    const std::string info_new = ValueOrEmpty(row[kLabelInfoNew]);
    const std::string& info = info_new.empty() ? ValueOrEmpty(row[kLabelInfo]) : info_new;
    const Label label{ValueOrEmpty(row[kLabelId]), ValueOrEmpty(row[kLabelName]), info,
                      ValueOrEmpty(row[kLabelStatus]) == "t"};
    (ValueOrEmpty(row[kLabelCategory]) == kPeopleCategory ? record.people : record.labels).push_back(label);
  }
}

// The record of KEY as the table of SQL has it, without what belongs to it. False on failure.
template <typename Columns>
bool ReadRow(DatabaseReader& database, const char* kind, const char* sql, const Columns& columns,
             const std::string& key, std::optional<MediaRecord>& record) {
  const auto rows = database.Query(NamesOf(columns), sql, key);
  if (!rows || rows->empty()) return rows.has_value();
  record = MediaRecord{};
  record->kind = kind;
  for (std::size_t i = 0; i < columns.size(); ++i) record->row.emplace_back(columns[i], rows->front()[i]);
  return true;
}

bool ReadAlbum(DatabaseReader& database, MediaRecord& record) {
  record.album_id = Field(record, "shareid");
  if (record.album_id.empty()) return true;
  const auto albums = database.Query({"sharename", "public"}, kAlbumSql, record.album_id);
  if (!albums) return false;
  if (albums->empty()) return true;
  record.album = albums->front()[0];
  record.album_public = ValueOrEmpty(albums->front()[1]) == "t";
  return true;
}

bool ReadPhotoExtras(DatabaseReader& database, MediaRecord& record) {
  const auto labels = database.Query(kLabelColumns, kPhotoLabelsSql, Field(record, "id"));
  if (labels) AddLabels(*labels, record);
  return labels && ReadAlbum(database, record);
}

bool ReadVideoExtras(DatabaseReader& database, const std::string& key, MediaRecord& record) {
  const auto labels = database.Query(kLabelColumns, kVideoLabelsSql, key);
  const auto descriptions = database.Query({"title", "description"}, kVideoDescriptionSql, key);
  if (!labels || !descriptions) return false;
  AddLabels(*labels, record);
  if (!descriptions->empty()) {
    record.row.emplace_back(Column{"described_title"}, descriptions->front()[0]);
    record.row.emplace_back(Column{"description"}, descriptions->front()[1]);
  }
  return ReadAlbum(database, record);
}

bool AddListed(const char* kind, const std::optional<Rows>& rows, std::vector<ListedEntry>& entries) {
  if (!rows) return false;
  for (const auto& row : *rows) {
    entries.push_back({kind, NameOf(ValueOrEmpty(row[kListPath])), ValueOrEmpty(row[kListTaken]),
                       ValueOrEmpty(row[kListSize]), ValueOrEmpty(row[kListWidth]),
                       ValueOrEmpty(row[kListHeight])});
  }
  return true;
}

bool AddAlbums(const std::optional<Rows>& rows, std::vector<ListedEntry>& entries) {
  if (!rows) return false;
  for (const auto& row : *rows) entries.push_back({"album", NameOf(ValueOrEmpty(row[0])), "", "", "", ""});
  return true;
}

bool ListAlbums(DatabaseReader& database, const std::string& album, std::vector<ListedEntry>& entries) {
  if (album.empty()) return AddAlbums(database.Query({"sharename"}, kRootAlbumsSql), entries);
  return AddAlbums(database.Query({"sharename"}, kFolderAlbumsSql, album, album), entries);
}

// What is directly in the folder with this key, "" where keys begin with the names of the root's own files.
bool ListFiles(DatabaseReader& database, const std::string& folder, std::vector<ListedEntry>& entries) {
  if (folder.empty()) {
    return AddListed("photo", database.Query(kListColumns, kRootPhotosSql), entries) &&
           AddListed("video", database.Query(kListColumns, kRootVideosSql), entries);
  }
  return AddListed("photo", database.Query(kListColumns, kFolderPhotosSql, folder, folder), entries) &&
         AddListed("video", database.Query(kListColumns, kFolderVideosSql, folder, folder), entries);
}

}  // namespace

Outcome<std::optional<MediaRecord>> ReadRecord(DatabaseReader& database, const std::string& key) {
  std::optional<MediaRecord> record;
  if (!ReadRow(database, "photo", kPhotoSql, kPhotoColumns, key, record)) return Unreadable(database);
  if (record) {
    if (!ReadPhotoExtras(database, *record)) return Unreadable(database);
    return record;
  }
  if (!ReadRow(database, "video", kVideoSql, kVideoColumns, key, record)) return Unreadable(database);
  if (record && !ReadVideoExtras(database, key, *record)) return Unreadable(database);
  return record;
}

bool IsAlbum(DatabaseReader& database, const std::string& below) {
  const auto album = database.Query({"shareid"}, kAlbumByNameSql, below.empty() ? kRootAlbum : below);
  return album && !album->empty();
}

Outcome<std::optional<std::vector<ListedEntry>>> ListFolder(DatabaseReader& database, const Library& library,
                                                            const std::string& below) {
  const std::string root = library.shared() ? library.folder : "";
  const auto album = database.Query({"shareid"}, kAlbumByNameSql, below.empty() ? kRootAlbum : below);
  std::vector<ListedEntry> entries;
  const bool listed = album && ListAlbums(database, below, entries) &&
                      ListFiles(database, below.empty() ? root : library.FileKey(below), entries);
  if (!listed) return Unreadable(database);
  if (album->empty() && entries.empty()) return std::optional<std::vector<ListedEntry>>();
  // Photos and videos lie side by side in a folder.
  const auto files = std::find_if(entries.begin(), entries.end(), [](const ListedEntry& entry) {
    return entry.kind != std::string_view("album");
  });
  std::sort(files, entries.end(), [](const ListedEntry& a, const ListedEntry& b) { return a.name < b.name; });
  return std::optional(std::move(entries));
}
