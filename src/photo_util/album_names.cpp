// Albums are folders, named by their path below the photo root of the request.
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "photo_util/photo_dir.h"
#include "photo_util/root_album.h"

namespace {

// PATH below the photo root. The path is known to lie there, so its beginning is not compared with the root
// (the shared folder matches in any letter case).
std::optional<std::string> AlbumPath(const char* path) {
  const char* root = RequestPhotoRoot();
  if (root == nullptr) return std::nullopt;
  const std::string whole = Cut(path, kPathSize);
  const std::size_t length = std::strlen(root);
  if (whole.size() < length || (whole.size() > length && whole[length] != '/')) return std::nullopt;
  return whole.size() <= length + 1 ? kRootAlbum : whole.substr(length + 1);
}

// The album path of FILE; empty, and so in the root album, when it has none.
std::string AlbumPathOfFile(const char* file) {
  return Cut(AlbumPath(file).value_or(""), kContextPathSize);
}

// "." and every name that begins with a dot stand for the root album.
std::string_view RootWhenDotted(std::string_view album) {
  return album.starts_with('.') ? kRootAlbum : album;
}

// TEXT up to its second '/'; nothing when it has no second one.
std::optional<std::string_view> FirstTwoLevels(std::string_view text) {
  const auto first = text.find('/');
  if (first == std::string_view::npos) return std::nullopt;
  const auto second = text.find('/', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  return text.substr(0, second);
}

// a/b/c and deeper refer to a/b, but a/b refers to a.
std::string_view ReferenceAlbum(std::string_view album) {
  if (const auto levels = FirstTwoLevels(album)) return *levels;
  return album == kRootAlbum ? album : album.substr(0, album.find('/'));
}

std::string RightsAlbum(const std::string& album_path) {
  if (const auto levels = FirstTwoLevels(album_path)) return std::string(RootWhenDotted(*levels));
  return std::string(RootWhenDotted(DirName(album_path)));
}

// Writes what NAME makes of TEXT into OUT of SIZE bytes.
template <typename Name>
int WriteName(const char* text, char* out, size_t size, Name&& name) {
  if (text == nullptr || out == nullptr) {
    LOG_COLON(kPhotoUtilSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoUtilSource, -1, [&] {
    const std::optional<std::string> made = name();
    if (!made) return -1;
    CopyText(out, size, *made);
    return 0;
  });
}

}  // namespace

int PhotoUtilShareNameGet(const char* path, char* out, size_t size) {
  return WriteName(path, out, size, [&] { return AlbumPath(path); });
}

int GetSharenameByFilePath(const char* file, char* out, size_t size) {
  return WriteName(file, out, size,
                   [&] { return std::string(RootWhenDotted(DirName(AlbumPathOfFile(file)))); });
}

int GetReferenceSharenameBySharename(const char* album, char* out, size_t size) {
  return WriteName(album, out, size,
                   [&] { return std::string(ReferenceAlbum(Cut(album, kContextPathSize))); });
}

int GetPrivilegeSharenameByFilePath(const char* file, char* out, size_t size) {
  return WriteName(file, out, size, [&] { return RightsAlbum(AlbumPathOfFile(file)); });
}
