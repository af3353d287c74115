// Who may do what with an album.
#ifndef SERVICE_ANSWERS_ALBUM_RIGHTS_H_
#define SERVICE_ANSWERS_ALBUM_RIGHTS_H_

#include <optional>
#include <string>
#include <vector>

#include "common/outcome.h"
#include "database/database_reader.h"

struct AlbumRight {
  const char* right = "";     // "access", "upload" or "manage"
  const char* accounts = "";  // whose number the user is: "appliance" or "package"
  std::string user;
  std::optional<std::string> time;  // when it was given, as the database has it: with its line end
};

struct AlbumRights {
  std::string id;
  bool is_public = false;
  std::vector<AlbumRight> rights;  // by accounts, then right, then user
};

// The rights of the album NAME ("/" for the root). Absent: no such album.
Outcome<std::optional<AlbumRights>> ReadAlbumRights(DatabaseReader& database, const std::string& name);

#endif  // SERVICE_ANSWERS_ALBUM_RIGHTS_H_
