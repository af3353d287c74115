#include "library/state_trust.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <optional>

#include "base/fixed_path.h"
#include "common/display.h"
#include "library/folder_trust.h"
#include "library/state_root.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kRoot = 0;
constexpr const char* kJobFolder = "@eaDir";

// What the service goes by, one by one: the folder may be the root of an appliance.
constexpr std::array kPlaces{"/lock",           "/oldest-job", kPackageMarker, kPackageSettings,
                             kPersonalSchema,   kGpsScript,    kSqliteTool,    kMetadataTool,
                             kVideoConvertTool, kPreviewTool,  kPhpTool,       kPersonalFolders,
                             kSharedPhotoLink,  kPreferences,  kLibraries};
// These are looked at with all that is in them.
constexpr std::array kTrees{kPreferences, kLibraries};

constexpr const char* kForeign =
    "belongs to somebody else, who could change what a run does; "
    "remove it, or name another state folder with --root";
constexpr const char* kOpen =
    "others, or a group, may write there, and could change what a run does; "
    "forbid them that, or name another state folder with --root";

Failure Untrusted(const std::string& path, const char* why) {
  return {ExitStatus::kConfiguration, AboutFile(path, why)};
}

// Nothing where PATH is not there, which everything but the folder may be.
std::optional<struct stat> StatusOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

Outcome<Done> TrustFolder(const std::string& folder) {
  const auto status = StatusOf(folder);
  if (!status) return Done{};
  if (!IsOurs(*status)) return Untrusted(folder, kForeign);
  if (OthersMayWrite(folder, *status)) return Untrusted(folder, kOpen);
  return Done{};
}

// The names in a state folder.
class Names {
 public:
  explicit Names(const std::string& folder) : folder_(folder) {
    constexpr mode_t kOthersEnter = S_IXGRP | S_IXOTH;
    const auto status = StatusOf(folder);
    others_enter_ = status && (status->st_mode & kOthersEnter) != 0;
  }

  // Each on the way to the appliance path PLACE.
  Outcome<Done> TrustWayTo(const std::string& place) const {
    for (std::size_t end = place.find('/', 1);; end = place.find('/', end + 1)) {
      if (auto trusted = Trust(folder_ + place.substr(0, end)); !trusted) return trusted;
      if (end == place.npos) return Done{};
    }
  }

  // All in the appliance's folder TREE. What comes and goes meanwhile is another run's.
  Outcome<Done> TrustTree(const std::string& tree) const {
    std::error_code error;
    for (fs::recursive_directory_iterator at(folder_ + tree, error), end; !error && at != end;
         at.increment(error)) {
      if (at->path().filename() == kJobFolder) {
        at.disable_recursion_pending();
      } else if (auto trusted = Trust(at->path().string()); !trusted) {
        return trusted;
      }
    }
    return Done{};
  }

 private:
  // A link's mode says nothing.
  Outcome<Done> Trust(const std::string& path) const {
    const auto status = StatusOf(path);
    if (!status) return Done{};
    if (!IsOurs(*status)) return Untrusted(path, kForeign);
    const bool open = others_enter_ && !S_ISLNK(status->st_mode) && OthersMayWrite(path, *status);
    return open ? Outcome<Done>(Untrusted(path, kOpen)) : Done{};
  }

  const std::string& folder_;
  bool others_enter_ = false;
};

Outcome<Done> TrustWay(const std::string& folder) {
  const auto above = DistrustedAbove(folder);
  if (!above) return Done{};
  return Untrusted(above->path, above->why == Distrust::kForeign ? kForeign : kOpen);
}

}  // namespace

Outcome<Done> TrustStateFolder(const std::string& folder) {
  if (auto trusted = TrustFolder(folder); !trusted) return trusted;
  if (auto trusted = geteuid() == kRoot ? TrustWay(folder) : Outcome<Done>(Done{}); !trusted) return trusted;
  const Names names(folder);
  for (const char* place : kPlaces) {
    if (auto trusted = names.TrustWayTo(place); !trusted) return trusted;
  }
  for (const char* tree : kTrees) {
    if (auto trusted = names.TrustTree(tree); !trusted) return trusted;
  }
  return Done{};
}
