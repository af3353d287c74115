#ifndef TESTS_UNIT_ALBUM_TEST_H_
#define TESTS_UNIT_ALBUM_TEST_H_

#include <memory>

#include "base/text.h"
#include "support/both_requests.h"

inline constexpr const char* kInsertStart =
    "INSERT INTO photo_share (shareid, sharename, title, description, public, hits, cover, "
    "comment, is_subdir, updated, conversion, ref_shareid) values(";

class AlbumTest : public FakeLibraryTest {
 protected:
  // An album whose folder does not exist.
  static std::unique_ptr<KAVO_PHOTO_SHARE_INFO> Album(int id, const std::string& name) {
    auto album = std::make_unique<KAVO_PHOTO_SHARE_INFO>();
    album->shareId = id;
    CopyText(album->szShareName, sizeof album->szShareName, name);
    CopyText(album->szAlbumPath, sizeof album->szAlbumPath, "/absent/" + name);
    album->isSubdir = name.find('/') != std::string::npos ? 1 : 0;
    return album;
  }
  void SetConfig(const std::string& key, const std::string& value) {
    Answer({.match = "config_key = '" + key + "'", .rows = {{{"config_value", value}}}});
  }
  // The album NAME has a row with ID.
  void AddAlbum(const std::string& name, const std::string& id) {
    Answer({.match = "FROM photo_share WHERE sharename = '" + name + "'", .rows = {{{"shareid", id}}}});
    Answer({.match = "FROM photo_share WHERE  sharename='" + name + "'", .rows = {{{"shareid", id}}}});
  }
};

#endif  // TESTS_UNIT_ALBUM_TEST_H_
