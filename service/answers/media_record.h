// What the database of a library holds about one file or folder.
#ifndef SERVICE_ANSWERS_MEDIA_RECORD_H_
#define SERVICE_ANSWERS_MEDIA_RECORD_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/outcome.h"
#include "database/database_reader.h"
#include "database/library_tables.h"
#include "library/library.h"

struct Label {
  std::string id;
  std::string name;
  std::string info;  // where in the picture, for people; may be empty
  bool confirmed = false;
};

struct MediaRecord {
  const char* kind = "";  // "photo" or "video"
  // Every column of the row, in the order of the table; nothing stands for SQL NULL.
  std::vector<std::pair<Column, std::optional<std::string>>> row;
  std::optional<std::string> album;  // nothing when the row's album is not there
  std::string album_id;
  bool album_public = false;
  std::vector<Label> labels;  // keywords and other labels
  std::vector<Label> people;
};

// The record of the file with this key (Library::FileKey). Absent: no row. A failed statement is a failure.
Outcome<std::optional<MediaRecord>> ReadRecord(DatabaseReader& database, const std::string& key);

// The folder with the path BELOW the library is an album.
bool IsAlbum(DatabaseReader& database, const std::string& below);

// One line of a folder's list.
struct ListedEntry {
  const char* kind = "";  // "album", "photo" or "video"
  std::string name;
  std::string taken;  // as the database has it; for a video the time of its last change
  std::string size;   // in bytes
  std::string width;
  std::string height;
};

// What lies directly in the folder with the path BELOW the library ("" for the library itself): sub-albums
// first, then photos and videos, each sorted by name. Absent: no album of that name and nothing in it.
Outcome<std::optional<std::vector<ListedEntry>>> ListFolder(DatabaseReader& database, const Library& library,
                                                            const std::string& below);

#endif  // SERVICE_ANSWERS_MEDIA_RECORD_H_
