// Whose photo folder a path lies in.
//
// The keys of the database are what follows the personal folder's name in a path, so a path is a person's
// only when it begins with exactly the name that KAVOIndexPersonalPhotoPathGet gives: no link in the path is
// resolved and no slash dropped.
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/ascii.h"
#include "base/fixed_path.h"
#include "base/path_below.h"
#include "core/error.h"
#include "core/key_value.h"
#include "core/out_text.h"
#include "core/rooted_path.h"
#include "index/personal_folder.h"
#include "platform/files.h"
#include "platform/index.h"
#include "platform/share.h"
#include "share/share_folder.h"

namespace {

constexpr std::string_view kPackageKind = "photo";
constexpr std::string_view kHomes = "homes";
constexpr std::string_view kPhotoFolder = "photo";

const PathOwner kNobodys{true, std::nullopt};

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};
using TextMap = std::unordered_map<std::string, std::string, TextHash, std::equal_to<>>;

// The folders that are listed one by one, in both directions.
struct FolderList {
  TextMap folder_of;  // user -> folder
  TextMap user_of;    // folder -> user
};

// Duplicate slashes and those at the end dropped; empty for what is no absolute path, or "/".
std::string TidyFolder(const std::string& folder) {
  if (!folder.starts_with('/')) return "";
  std::string tidy;
  for (const char letter : folder) {
    if (letter != '/' || !tidy.ends_with('/')) tidy += letter;
  }
  if (tidy.ends_with('/')) tidy.pop_back();
  return tidy;
}

FolderList ListOf(const KeyValues& pairs) {
  FolderList list;
  for (const auto& [user, folder] : pairs.pairs()) {
    const std::string tidy = TidyFolder(folder);
    if (!tidy.empty() && IsPlainName(user)) list.folder_of.insert_or_assign(user, tidy);
  }
  for (const auto& [user, folder] : pairs.pairs()) {
    const auto listed = list.folder_of.find(user);
    if (listed != list.folder_of.end()) list.user_of.emplace(listed->second, user);
  }
  return list;
}

// The list as the file has it now; made anew only when the file has changed. Null when it cannot be read.
std::shared_ptr<const FolderList> CurrentList() {
  static std::mutex mutex;
  static std::shared_ptr<const KeyValues> source;
  static std::shared_ptr<const FolderList> list = std::make_shared<const FolderList>();
  const auto [file, pairs] = TryKeyValues(RootedPath(kPersonalFolders));
  if (file == KeyValueFile::kUnreadable) return nullptr;

  const std::lock_guard<std::mutex> lock(mutex);
  if (pairs != source) {
    list = std::make_shared<const FolderList>(pairs != nullptr ? ListOf(*pairs) : FolderList());
    source = pairs;
  }
  return list;
}

// Where the folder of a user who is not listed would be, empty for what is no name of a user.
std::string HomeFolder(std::string_view homes, std::string_view user) {
  if (!IsPlainName(user)) return "";
  return std::string(homes).append("/").append(user).append("/").append(kPhotoFolder);
}

// The same where it is there.
std::string ExistingHomeFolder(std::string_view homes, std::string_view user) {
  std::string folder = HomeFolder(homes, user);
  return RLIBCFileCheckDir(folder.c_str()) == 1 ? folder : "";
}

// Whether nothing stands under FOLDER's name. What cannot be looked at may be a folder.
bool IsGone(const std::string& folder) {
  struct stat status {};
  if (stat(folder.c_str(), &status) == 0) return !S_ISDIR(status.st_mode);
  return errno == ENOENT || errno == ENOTDIR || errno == ELOOP || errno == ENAMETOOLONG;
}

std::string FolderOfUser(const std::string& user) {
  const auto list = CurrentList();
  if (list == nullptr) return "";
  const auto listed = list->folder_of.find(user);
  return listed != list->folder_of.end() ? listed->second : ExistingHomeFolder(ShareFolder(kHomes), user);
}

// The photo folder in the homes that PATH is or lies in, with its user.
PathOwner HomeOwnerOf(const FolderList& list, std::string_view path) {
  const auto homes = KnownShareFolder(kHomes);
  if (!homes) return {};
  if (!LiesBelow(path, *homes)) return kNobodys;
  std::string_view rest = path.substr(homes->size() + 1);
  const std::string_view user = rest.substr(0, rest.find('/'));
  rest.remove_prefix(std::min(user.size() + 1, rest.size()));
  if (rest.substr(0, rest.find('/')) != kPhotoFolder || list.folder_of.contains(user)) return kNobodys;
  const std::string folder = HomeFolder(*homes, user);
  if (folder.empty() || IsGone(folder)) return kNobodys;
  if (RLIBCFileCheckDir(folder.c_str()) != 1) return {};
  return {true, PersonalFolder{std::string(user), folder}};
}

// The innermost listed folder that PATH is or lies in.
std::optional<PersonalFolder> ListedFolderAround(const FolderList& list, std::string_view path) {
  while (!path.empty() && !list.user_of.empty()) {
    const auto found = list.user_of.find(path);
    if (found != list.user_of.end()) return PersonalFolder{found->second, found->first};
    const std::size_t slash = path.rfind('/');
    path = path.substr(0, slash != path.npos ? slash : 0);
  }
  return std::nullopt;
}

int GetDefaultRight(const char* user, int* is_public) {
  char file[4096];
  if (KAVOUserPreferenceDirGet(user, file, sizeof(file)) != 0) return -1;
  const auto settings = ReadKeyValues(std::string(file) + "/kavoinfo.conf");
  const std::string* value = settings != nullptr ? settings->Find("albumdefpublic") : nullptr;
  if (value == nullptr) {
    RECORD_ERROR(ENOENT);
    return -1;
  }
  *is_public = EqualsIgnoreAsciiCase(*value, "yes") ? 1 : 0;
  return 0;
}

}  // namespace

PathOwner OwnerOf(std::string_view path) {
  const auto list = CurrentList();
  if (list == nullptr) return {};
  PathOwner listed{true, ListedFolderAround(*list, path)};
  PathOwner home = HomeOwnerOf(*list, path);
  const bool home_is_inner =
      home.personal && (!listed.personal || home.personal->folder.size() > listed.personal->folder.size());
  return home_is_inner || !home.known ? home : listed;
}

int KAVOIndexIsPersonalPackagePath(const char* path, const char* kind, char* user, int size) {
  if (path == nullptr || kind == nullptr || kind != kPackageKind) return 0;
  const bool wanted = user != nullptr && size > 0;
  const auto told = WithoutExceptions<std::optional<int>>(std::nullopt, [&]() -> std::optional<int> {
    const PathOwner owner = OwnerOf(path);
    if (!owner.known) return std::nullopt;
    if (owner.personal && wanted) PutCut(owner.personal->user, user, size);
    return owner.personal ? 1 : 0;
  });
  if (!told && wanted) *user = '\0';
  return told.value_or(1);
}

int KAVOIndexPersonalPhotoPathGet(const char* user, char* out, int size) {
  return WithoutExceptions(-1, [&] {
    const std::string folder = user != nullptr ? FolderOfUser(user) : "";
    if (folder.empty()) {
      RECORD_ERROR(ENOENT);
      return -1;
    }
    if (PutWhole(folder, out, size) >= 0) return 0;
    RECORD_ERROR(ENAMETOOLONG);
    return -1;
  });
}

int KAVOIndexPersonalAlbumDefRightGet(const char* user, int* is_public) {
  return WithoutExceptions(-1, [&] {
    if (is_public != nullptr) return GetDefaultRight(user, is_public);
    RECORD_ERROR(EINVAL);
    return -1;
  });
}
