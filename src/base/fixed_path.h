// The fixed places of the appliance's file tree, as they are reached on this machine.
#ifndef BASE_FIXED_PATH_H_
#define BASE_FIXED_PATH_H_

#include <unistd.h>

#include <string>

#include "base/limits.h"
#include "platform/files.h"

// The shared photo folder's link, and the same text as it is stored inside covers.
inline constexpr const char* kSharedPhotoLink = "/var/services/photo";
inline constexpr const char* kPackageMarker = "/var/packages/Lumivault/enabled";
inline constexpr const char* kPackageSettings = "/var/packages/Lumivault/etc/settings.conf";
inline constexpr const char* kPersonalSchema = "/var/packages/Lumivault/target/photo_scripts/sql/pphoto.sql";
inline constexpr const char* kGpsScript = "/var/packages/Lumivault/target/photo_scripts/gps.php";
inline constexpr const char* kSqliteTool = "/usr/kavo/bin/sqlite3";
// Programs are handed to the process functions of the platform under these names; those resolve them.
inline constexpr const char* kMetadataTool = "/usr/kavo/bin/exiv2";
inline constexpr const char* kVideoConvertTool = "/usr/kavo/bin/kavoflvconv";
inline constexpr const char* kPreviewTool = "/var/packages/Lumivault/target/bin/kavophoto_extract_preview";
inline constexpr const char* kPhpTool = "/usr/bin/php";
// A line USER="FOLDER" for each personal folder; a folder of settings for each user.
inline constexpr const char* kPersonalFolders = "/etc/kavo/personal.conf";
inline constexpr const char* kPreferences = "/usr/kavo/etc/preference";

// PATH with the optional root in front (platform/files.h). Empty, which is the name of nothing, where the
// platform has no answer: the machine's own tree is not what was asked for.
inline std::string FixedPath(const char* path) {
  char buffer[kPathSize];
  return KAVOFixedPathGet(path, buffer, sizeof buffer) < 0 ? "" : buffer;
}
// True when the package is switched on.
inline bool PackageEnabled() {
  return access(FixedPath(kPackageMarker).c_str(), F_OK) == 0;
}

#endif  // BASE_FIXED_PATH_H_
