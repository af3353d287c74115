#include "answers/library_summary.h"

#include <array>
#include <utility>

#include "database/summary_sql.h"
#include "database/table_sql.h"

namespace {

using Row = DatabaseReader::Row;

constexpr std::array<std::pair<const char*, const char*>, 3> kKinds{
    {{"0", "person"}, {"1", "place"}, {"2", "keyword"}}};
constexpr const char* kOtherKind = "other";

const DatabaseReader::Columns kAlbumColumns{"shareid", "sharename", "title", "description",
                                            "public",  "photos",    "videos"};
enum AlbumColumn : std::size_t {
  kAlbumId,
  kAlbumName,
  kAlbumTitle,
  kAlbumDescription,
  kAlbumPublic,
  kAlbumPhotos,
  kAlbumVideos
};
const DatabaseReader::Columns kLabelColumns{"id", "category", "name", "photos", "videos"};
enum LabelColumn : std::size_t { kLabelId, kLabelCategory, kLabelName, kLabelPhotos, kLabelVideos };
const DatabaseReader::Columns kPhotoCounts{"files", "placed", "untaken", "disabled",
                                           "bytes", "oldest", "newest"};
enum PhotoCount : std::size_t { kFiles, kPlaced, kUntaken, kDisabled, kBytes, kOldest, kNewest };
const DatabaseReader::Columns kVideoCounts{"files", "placed", "disabled", "bytes"};
enum VideoCount : std::size_t { kVideoFiles, kVideoPlaced, kVideoDisabled, kVideoBytes };

std::string ValueOrEmpty(const std::optional<std::string>& value) {
  return value.value_or("");
}

std::map<std::string, std::string> KindCounts(const Row& row, const DatabaseReader::Columns& kinds) {
  std::map<std::string, std::string> counts;
  for (std::size_t i = 0; i < kinds.size(); ++i) counts[kinds[i]] = ValueOrEmpty(row[i]);
  return counts;
}

}  // namespace

const char* LabelKind(const std::string& category) {
  for (const auto& [number, kind] : kKinds) {
    if (category == number) return kind;
  }
  return kOtherKind;
}

Outcome<std::vector<AlbumSummary>> ReadAlbums(DatabaseReader& database) {
  const auto rows = database.Query(kAlbumColumns, kAlbumSummariesSql);
  if (!rows) return Unreadable(database);
  std::vector<AlbumSummary> albums;
  for (const Row& row : *rows) {
    albums.push_back({ValueOrEmpty(row[kAlbumId]), ValueOrEmpty(row[kAlbumName]),
                      ValueOrEmpty(row[kAlbumTitle]), ValueOrEmpty(row[kAlbumDescription]),
                      ValueOrEmpty(row[kAlbumPublic]) == "t", ValueOrEmpty(row[kAlbumPhotos]),
                      ValueOrEmpty(row[kAlbumVideos])});
  }
  return albums;
}

Outcome<std::vector<LabelSummary>> ReadLabels(DatabaseReader& database) {
  const auto rows = database.Query(kLabelColumns, kLabelSummariesSql);
  if (!rows) return Unreadable(database);
  std::vector<LabelSummary> labels;
  for (const Row& row : *rows) {
    labels.push_back({ValueOrEmpty(row[kLabelId]), ValueOrEmpty(row[kLabelCategory]),
                      ValueOrEmpty(row[kLabelName]), ValueOrEmpty(row[kLabelPhotos]),
                      ValueOrEmpty(row[kLabelVideos])});
  }
  return labels;
}

Outcome<LibrarySummary> ReadSummary(DatabaseReader& database) {
  if (!database.BeginReading()) return Unreadable(database);
  const DatabaseReader::Columns kinds{kKinds[0].second, kKinds[1].second, kKinds[2].second, kOtherKind};
  // What PostgreSQL is asked behind a failure tells nothing about the reason.
  const auto photos = database.Query(kPhotoCounts, kPhotoCountsSql);
  if (!photos) return Unreadable(database);
  const auto videos = database.Query(kVideoCounts, kVideoCountsSql);
  if (!videos) return Unreadable(database);
  const auto albums = database.Query({"albums"}, kAlbumCountSql);
  if (!albums) return Unreadable(database);
  const auto labels = database.Query(kinds, kLabelCountsSql);
  if (!labels) return Unreadable(database);
  const Row& photo = photos->front();
  const Row& video = videos->front();
  return LibrarySummary{
      {ValueOrEmpty(photo[kFiles]), ValueOrEmpty(photo[kPlaced]), ValueOrEmpty(photo[kUntaken]),
       ValueOrEmpty(photo[kDisabled]), ValueOrEmpty(photo[kBytes]), photo[kOldest], photo[kNewest]},
      {ValueOrEmpty(video[kVideoFiles]), ValueOrEmpty(video[kVideoPlaced]),
       ValueOrEmpty(video[kVideoDisabled]), ValueOrEmpty(video[kVideoBytes])},
      ValueOrEmpty(albums->front()[0]),
      KindCounts(labels->front(), kinds)};
}
