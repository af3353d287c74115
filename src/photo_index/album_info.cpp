#include "photo_index/album_info.h"

#include <optional>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/fixed_path.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_util/photo_dir.h"
#include "photo_util/root_album.h"
#include "platform/files.h"
#include "platform/index.h"

namespace {

constexpr std::size_t kFlagSize = 16;  // values of flags in files and columns
constexpr const char* kDefaultPublicKey = "albumdefpublic";

// Whether FOLDER lies deeper than directly below ROOT.
bool IsSubAlbum(std::string_view folder, std::string_view root) {
  if (EqualsIgnoreAsciiCase(folder, root)) return false;
  return folder.find('/', root.size() + 1) != std::string_view::npos;
}

// What the folder's own side file says, if it has one.
std::optional<bool> PublicBySideFile(const char* folder) {
  char flag[kFlagSize] = {};
  if (GetFileContentInEA(folder, "KAVOPHOTO_PUBLIC", flag, sizeof flag) == 0) return flag[0] == '1';
  if (GetFileContentInEA(folder, "KAVOPHOTO:PUBLIC", flag, sizeof flag) == 0) return flag[0] == '1';
  return std::nullopt;
}

bool SharedDefault() {
  char value[kFlagSize] = {};
  if (RLIBCFileGetKeyValue(FixedPath(kPackageSettings).c_str(), kDefaultPublicKey, value, sizeof value, 0) <
      0) {
    LOG_COLON(kPhotoIndexSource, "Can't get key valude. key=albumdefpublic");
    return false;
  }
  return EqualsIgnoreAsciiCase(value, "yes");
}

bool PersonalDefault() {
  int is_public = 0;
  if (KAVOIndexPersonalAlbumDefRightGet(HGAStatusUserNameGet(), &is_public) < 0) {
    LOG_COLON(kPhotoIndexSource, "Can't get key valude. key=albumdefpublic, user:%s", HGAStatusUserNameGet());
    return false;
  }
  return is_public != 0;
}

bool IsPublic(const char* folder, std::string_view album) {
  const auto by_side_file = PublicBySideFile(folder);
  const bool is_public =
      by_side_file ? *by_side_file : (HGAStatusIsHGARequest() ? PersonalDefault() : SharedDefault());
  return is_public || album == kRootAlbum;
}

// The album above: ALBUM up to its last '/'.
std::optional<std::string> SupperShareName(const char* album) {
  auto name = TryCopy(album);
  if (!name) {
    LOG_COLON(kPhotoIndexSource, "strdup failed.");
    return std::nullopt;
  }
  const auto slash = name->rfind('/');
  if (slash == std::string::npos) return std::nullopt;
  name->resize(slash);
  return name;
}

// A sub-album is as public as its parent, whatever its own settings say; below a password it counts as public
// because the password already guards it.
bool InheritFromParent(KAVO_PHOTO_SHARE_INFO& record) {
  const auto parent = SupperShareName(record.szShareName);
  if (!parent) {
    LOG_COLON(kPhotoIndexSource, "PhotoIndexSupperShareNameGet failed.");
    return false;
  }
  CopyText(record.szRightsShareName, sizeof record.szRightsShareName, *parent);
  if (KAVOPhotoShareGetFieldValue(parent->c_str(), "password", record.szReserved, sizeof record.szReserved) ==
      -1) {
    return false;
  }
  if (record.szReserved[0] != '\0') {
    record.isPublic = 1;
    return true;
  }
  char flag[kFlagSize] = {};
  if (KAVOPhotoShareGetFieldValue(parent->c_str(), "public", flag, sizeof flag) == -1) {
    LOG_COLON(kPhotoIndexSource, "KAVOPhotoShareGetFieldValue failed.");
    return false;
  }
  record.isPublic = EqualsIgnoreAsciiCase(flag, "t") ? 1 : 0;
  return true;
}

}  // namespace

bool IndexAlbumInfoBuild(KAVO_PHOTO_SHARE_INFO& record, const char* folder) {
  if (IsEmpty(folder)) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return false;
  }
  char album[kNameSize] = {};
  if (PhotoUtilShareNameGet(folder, album, sizeof album) < 0) return true;
  CopyText(record.szShareName, sizeof record.szShareName, album);
  CopyText(record.szAlbumPath, sizeof record.szAlbumPath, folder);

  const char* root = RequestPhotoRoot();
  if (root == nullptr) return false;
  record.isSubdir = IsSubAlbum(folder, root) ? 1 : 0;
  record.shareId = KAVOPhotoShareGetNewId();
  record.isPublic = IsPublic(folder, album) ? 1 : 0;
  return record.isSubdir ? InheritFromParent(record) : true;
}
