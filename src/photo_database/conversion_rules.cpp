// Which albums convert their videos, and which formats are left out.
#include <optional>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/owned_list.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_util.h"
#include "photo_database/album_name.h"

namespace {

constexpr const char* kConversionColumn = "conversion";
constexpr const char* kDoesNotConvert = "f";

// The folder itself, or the one that holds the file.
std::optional<std::string> FolderOfPath(const char* path) {
  std::string folder = Cut(path, kPathSize);
  if (IsDirExist(folder.c_str())) return folder;
  const auto slash = folder.rfind('/');
  if (slash == std::string::npos) {
    LOG_COLON(kPhotoDatabaseSource, "Fail to get parrent path.");
    return std::nullopt;
  }
  folder.resize(slash);
  return folder;
}

// The top-level album above FOLDER (or FOLDER's own): it decides for all albums in it.
std::optional<std::string> TopAlbum(const std::string& folder) {
  auto album = AlbumName(folder.c_str());
  if (!album) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to PhotoUtilShareNameGet, path: %s.", folder.c_str());
    return std::nullopt;
  }
  return *album == kRootAlbum ? album : album->substr(0, album->find('/'));
}

// Only an album that says so does not convert; one without a row or value does.
bool AlbumConverts(const std::string& album) {
  char conversion[kPathSize] = {};
  if (KAVOPhotoShareGetFieldValue(album.c_str(), kConversionColumn, conversion, sizeof conversion) == -1) {
    return true;
  }
  return std::string_view(conversion) != kDoesNotConvert;
}

bool NeedsConversion(const char* path) {
  const auto folder = FolderOfPath(path);
  if (!folder) return false;
  const auto album = TopAlbum(*folder);
  return album && AlbumConverts(*album);
}

bool Lists(const RLIBCSZLIST* formats, std::string_view extension) {
  for (int i = 0; i < RLIBCSzListCount(formats); ++i) {
    if (EqualsIgnoreAsciiCase(extension, RLIBCSzListGet(formats, i))) return true;
  }
  return false;
}

}  // namespace

int IsPathNeedConversion(const char* path) noexcept {
  if (path == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return 0;
  }
  return Guarded(kPhotoDatabaseSource, 0, [&] { return NeedsConversion(path) ? 1 : 0; });
}

int IsExcludeFormat(const char* name) noexcept {
  if (name == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return 0;
  }
  const OwnedList formats(PhotoInfoDBExcludeFormatListGet());
  if (formats == nullptr) return 0;
  const auto extension = ExtensionOf(name);
  if (!extension || extension->empty()) return 0;
  return Lists(formats.get(), *extension) ? 1 : 0;
}
