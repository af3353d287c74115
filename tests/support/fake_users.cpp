// Personal folders, shares, side folders and kinds of media.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>

#include "platform/index.h"
#include "platform/share.h"
#include "support/fake_record.h"

namespace {

// The value of KEY in MAP into OUT; 0, or -1 without one.
int PutMapped(const std::map<std::string, std::string>& map, const char* key, char* out, int size) {
  const auto found = map.find(key);
  return found != map.end() && PutText(out, size, found->second) >= 0 ? 0 : -1;
}

bool IsListed(const std::set<std::string>& extensions, const char* extension) {
  std::string lower = extension;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return extensions.contains(lower);
}

}  // namespace

int KAVOIndexIsPersonalPackagePath(const char* path, const char* kind, char* user, int size) {
  return Answered("KAVOIndexIsPersonalPackagePath", [&]() -> int {
    if (Fails("KAVOIndexIsPersonalPackagePath", path, kind, size)) return 0;
    for (const auto& [name, folder] : FakePlatform::Get().personal_folders) {
      if (!PathIsIn(path, folder)) continue;
      std::snprintf(user, static_cast<std::size_t>(size), "%s", name.c_str());
      return 1;
    }
    return 0;
  });
}

int KAVOIndexPersonalPhotoPathGet(const char* user, char* out, int size) {
  return Answered("KAVOIndexPersonalPhotoPathGet", [&]() -> int {
    if (Fails("KAVOIndexPersonalPhotoPathGet", user, size)) return -1;
    return PutMapped(FakePlatform::Get().personal_folders, user, out, size);
  });
}

int KAVOIndexPersonalAlbumDefRightGet(const char* user, int* is_public) {
  return Answered("KAVOIndexPersonalAlbumDefRightGet", [&]() -> int {
    if (Fails("KAVOIndexPersonalAlbumDefRightGet", user)) return -1;
    const auto& rights = FakePlatform::Get().album_default_right;
    const auto found = rights.find(user);
    if (found == rights.end()) return -1;
    *is_public = found->second;
    return 0;
  });
}

namespace {

// What PATH refers to when it names a descriptor of this process, else PATH.
std::string OpenedPath(const std::string& path) {
  std::error_code other;
  if (!path.starts_with("/proc/self/fd/")) return path;
  return std::filesystem::read_symlink(path, other).string();
}

}  // namespace

int KAVOIndexImgResGet(const char* path, int* width, int* height) {
  return Answered("KAVOIndexImgResGet", [&]() -> int {
    if (Fails("KAVOIndexImgResGet", path)) return -1;
    const auto& resolutions = FakePlatform::Get().resolutions;
    const auto found = resolutions.find(OpenedPath(path));
    if (found == resolutions.end()) return -1;
    *width = found->second.first;
    *height = found->second.second;
    return 0;
  });
}

int KAVOIndexExtGet(const char* path, char* out, int size) {
  return Answered("KAVOIndexExtGet", [&]() -> int {
    if (Fails("KAVOIndexExtGet", path, size)) return -1;
    const std::string name = std::string(path).substr(std::string(path).rfind('/') + 1);
    const auto dot = name.rfind('.');
    return dot != std::string::npos && PutText(out, size, name.substr(dot + 1)) >= 0 ? 0 : -1;
  });
}

bool BlKAVOIndexIsPhotoOnWeb(const char* extension) {
  return !Fails("BlKAVOIndexIsPhotoOnWeb", extension) &&
         IsListed(FakePlatform::Get().photo_extensions, extension);
}

bool BlKAVOIndexIsVideoOnWeb(const char* extension) {
  return !Fails("BlKAVOIndexIsVideoOnWeb", extension) &&
         IsListed(FakePlatform::Get().web_video_extensions, extension);
}

bool BlKAVOIndexIsVideo(const char* extension) {
  return !Fails("BlKAVOIndexIsVideo", extension) && IsListed(FakePlatform::Get().video_extensions, extension);
}

bool IndexIsPathRemoteOrImageMount(const char* path) {
  return !Fails("IndexIsPathRemoteOrImageMount", path) && FakePlatform::Get().remote_paths.contains(path);
}

int ConvertVideoTypeGet(const char* name, char* out, int size) {
  return Answered("ConvertVideoTypeGet", [&]() -> int {
    if (Fails("ConvertVideoTypeGet", name, size)) return 0;
    return PutMapped(FakePlatform::Get().convert_types, name, out, size) == 0 ? 1 : 0;
  });
}

int KAVOShareGet(const char* name, KAVOSHARE** share) {
  return Answered("KAVOShareGet", [&]() -> int {
    if (Fails("KAVOShareGet", name)) return -1;
    auto found = std::make_unique<KAVOSHARE>();
    if (PutMapped(FakePlatform::Get().shares, name, found->szPath, sizeof found->szPath) != 0) return -1;
    PutText(found->szName, sizeof found->szName, name);
    *share = found.release();
    return 0;
  });
}

void KAVOShareFree(KAVOSHARE* share) {
  Record("KAVOShareFree", share->szName);
  const std::unique_ptr<KAVOSHARE> owned(share);
}

int KAVOSharePathGet(const char* name, char* out, int size) {
  return Answered("KAVOSharePathGet", [&]() -> int {
    if (Fails("KAVOSharePathGet", name, size)) return -1;
    return PutMapped(FakePlatform::Get().shares, name, out, size);
  });
}

int KAVOEAPath(int mode, const char* path, const char* item, char* out, int size, int flags) {
  return Answered("KAVOEAPath", [&]() -> int {
    if (Fails("KAVOEAPath", mode, path, item, size, flags)) return -1;
    const std::filesystem::path whole(path);
    const std::filesystem::path folder = std::filesystem::is_directory(whole)
                                             ? whole / "@eaDir"
                                             : whole.parent_path() / "@eaDir" / whole.filename();
    return PutText(out, size, (folder / item).string()) >= 0 ? 0 : -1;
  });
}

int KAVOEAMKDir(int mode, const char* folder) {
  return Answered("KAVOEAMKDir", [&]() -> int {
    if (Fails("KAVOEAMKDir", mode, folder)) return -1;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    return error ? -1 : 0;
  });
}

int KAVOUserPreferenceDirGet(const char* user, char* out, int size) {
  return Answered("KAVOUserPreferenceDirGet", [&]() -> int {
    if (Fails("KAVOUserPreferenceDirGet", user, size)) return -1;
    return PutMapped(FakePlatform::Get().preference_dirs, user, out, size);
  });
}
