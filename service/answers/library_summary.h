// What the database of a library holds as a whole: its albums, its labels, and counts.
#ifndef SERVICE_ANSWERS_LIBRARY_SUMMARY_H_
#define SERVICE_ANSWERS_LIBRARY_SUMMARY_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/outcome.h"
#include "database/database_reader.h"

// Numbers are texts, as the database has them.
struct AlbumSummary {
  std::string id;
  std::string name;
  std::string title;
  std::string description;
  bool is_public = false;
  std::string photos;  // directly in it
  std::string videos;
};

struct LabelSummary {
  std::string id;
  std::string category;
  std::string name;
  std::string photos;  // that carry it, confirmed or not
  std::string videos;
};

struct PhotoSummary {
  std::string count;
  std::string with_position;
  std::string without_taken_time;
  std::string disabled;
  std::string bytes;
  std::optional<std::string> oldest_taken;  // nothing when no photo has a taken time
  std::optional<std::string> newest_taken;
};

struct VideoSummary {
  std::string count;
  std::string with_position;
  std::string disabled;
  std::string bytes;
};

struct LibrarySummary {
  PhotoSummary photos;
  VideoSummary videos;
  std::string albums;
  std::map<std::string, std::string> labels;  // how many of each kind; every kind is there
};

// Sorted by name.
Outcome<std::vector<AlbumSummary>> ReadAlbums(DatabaseReader& database);
// Sorted by category, then name.
Outcome<std::vector<LabelSummary>> ReadLabels(DatabaseReader& database);
Outcome<LibrarySummary> ReadSummary(DatabaseReader& database);

// What labels of CATEGORY are: "person", "place", "keyword" or "other".
const char* LabelKind(const std::string& category);

#endif  // SERVICE_ANSWERS_LIBRARY_SUMMARY_H_
