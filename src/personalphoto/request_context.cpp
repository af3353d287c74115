#include "lumivault/request_context.h"

#include <sys/stat.h>

#include <cstring>
#include <string>
#include <string_view>

#include "base/export_guard.h"
#include "base/fixed_path.h"
#include "base/limits.h"
#include "base/one_event.h"
#include "base/text.h"
#include "platform/files.h"
#include "platform/index.h"
#include "platform/process.h"
#include "platform/share.h"

static_assert(HGA_USER_NAME_SIZE == kUserNameSize && HGA_PATH_SIZE == kContextPathSize);
static_assert(sizeof(HGA_INFORMATION) == 12792, "the record is a binary interface");

HGA_INFORMATION gHGAInformation;

namespace {

constexpr std::string_view kUserPrefix = "user:";
constexpr const char* kPersonalSwitch = "runpersonallumivault";
constexpr const char* kSwitchedOn = "yes";
constexpr const char* kUserSettingsName = "/kavoinfo.conf";
constexpr const char* kDatabaseName = "/.KAVOHGADB";
constexpr mode_t kDatabaseMode = 0777;
constexpr std::size_t kCommandSize = 4607;  // of the schema command, terminator included

enum class Owner { kShared, kUser, kNobody };

// "NAME" or "NAME:/a/path", what followed "user:".
Owner ParseUserForm(std::string_view text) {
  if (text.empty()) return Owner::kNobody;
  const auto colon = text.find(':');
  CopyText(gHGAInformation.szUserName, sizeof gHGAInformation.szUserName, text.substr(0, colon));
  if (colon != std::string_view::npos) {
    CopyText(gHGAInformation.szRequestPath, sizeof gHGAInformation.szRequestPath, text.substr(colon + 1));
  }
  return Owner::kUser;
}

// Whose PATH is; fills the user name and the request path of a personal one.
Owner FindOwner(const char* path) {
  const std::string_view text = path;
  if (text.starts_with(kUserPrefix)) return ParseUserForm(text.substr(kUserPrefix.size()));
  if (!KAVOIndexIsPersonalPackagePath(path, kPhotoPackage, gHGAInformation.szUserName,
                                      sizeof gHGAInformation.szUserName)) {
    return Owner::kShared;
  }
  CopyText(gHGAInformation.szRequestPath, sizeof gHGAInformation.szRequestPath, text);
  return Owner::kUser;
}

bool SwitchedOnByUser(const char* user) {
  char folder[kContextPathSize] = "";
  if (KAVOUserPreferenceDirGet(user, folder, sizeof folder) != 0) return false;
  const std::string settings = Cut(std::string(folder) + kUserSettingsName, kContextPathSize);
  return RLIBCFileExist(settings.c_str()) &&
         RLIBCFileCheckKeyValue(settings.c_str(), kPersonalSwitch, kSwitchedOn, 0);
}

// Asked anew for every request: each of the switches may be turned at any time.
bool PersonalEditionOn(const char* user) {
  return PackageEnabled() &&
         RLIBCFileCheckKeyValue(FixedPath(kPackageSettings).c_str(), kPersonalSwitch, kSwitchedOn, 0) &&
         SwitchedOnByUser(user);
}

// Fills the photo folder and the database path; false when the folder is not there.
bool FindFolders(HGA_INFORMATION& context) {
  if (KAVOIndexPersonalPhotoPathGet(context.szUserName, context.szPhotoDir, sizeof context.szPhotoDir) < 0) {
    return false;
  }
  CopyText(context.szDBPath, sizeof context.szDBPath, std::string(context.szPhotoDir) + kDatabaseName);
  return RLIBCFileCheckDir(context.szPhotoDir) == 1;
}

// TEXT between double quotes of the shell: what would be more than itself there is escaped, so that the name
// of a folder is never a command.
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '$' || c == '`' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

// TEXT as one word of the shell: as it stands where that is safe.
std::string Word(const std::string& text) {
  constexpr const char* kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-";
  return text.find_first_not_of(kPlain) == std::string::npos ? text : Quoted(text);
}

// Makes the database from the schema script. The tool's own failure shows in the first statement on what it
// has left.
bool MakeDatabase(const HGA_INFORMATION& context) {
  const std::string tool = FixedPath(kSqliteTool);
  const std::string schema = FixedPath(kPersonalSchema);
  const std::string command = Word(tool) + " " + Quoted(context.szDBPath) + " < " + Word(schema);
  // A command cut short, or without one of its words, would be another command.
  if (tool.empty() || schema.empty() || command.size() >= kCommandSize) return false;
  if (RLIBCExec("/bin/sh", "-c", command.c_str(), nullptr, nullptr) < 0) return false;
  static_cast<void>(KAVOBeneathMode(context.szPhotoDir, context.szDBPath, kDatabaseMode));
  return true;
}

// The folder's owner decides what stands there. Behind a link it could be the database of somebody else, and
// a link to nowhere would have the tool make a database where it points.
bool DatabaseReady(const HGA_INFORMATION& context) {
  struct stat status;
  if (lstat(context.szDBPath, &status) == 0) return S_ISREG(status.st_mode);
  return RLIBCFileExist(context.szDBPath) || MakeDatabase(context);
}

int Check(const char* path) {
  gHGAInformation = {};
  const Owner owner = FindOwner(path);
  if (owner != Owner::kUser) return owner == Owner::kShared ? 0 : -1;

  HGA_INFORMATION& context = gHGAInformation;
  if (!PersonalEditionOn(context.szUserName) || !FindFolders(context) || !DatabaseReady(context)) return -1;

  context.isHGARequest = 1;
  context.userPhotoPathLen = static_cast<int32_t>(std::strlen(context.szPhotoDir));
  const std::string_view requested = context.szRequestPath;
  context.isUserPhotoRoot = requested.empty() || requested == context.szPhotoDir ? 1 : 0;
  return 0;
}

// What an event asks again about the path that it has asked about last: the context is still of that.
int CheckOnce(const std::string& path) {
  static PathOfEvent last;
  if (last.Is(path)) return 0;
  last.Forget();
  if (Check(path.c_str()) < 0) return -1;
  last.Note(path);
  return 0;
}

}  // namespace

int HGAStatusCheck(const char* path) {
  if (path == nullptr) return -1;
  // The path may be one of the record's own texts, which are cleared first.
  const auto copy = TryCopy(path);
  if (!copy) {
    LOG_COLON(kPersonalPhotoSource, "strdup failed.");
    return -1;
  }
  return Guarded(kPersonalPhotoSource, -1, [&] { return CheckOnce(*copy); });
}

int HGAStatusIsHGARequest(void) {
  return gHGAInformation.isHGARequest;
}
int HGAStatusIsUserPhotoRoot(void) {
  return gHGAInformation.isUserPhotoRoot;
}
const char* HGAStatusUserNameGet(void) {
  return gHGAInformation.szUserName;
}
const char* HGAStatusPhotoDirGet(void) {
  return gHGAInformation.szPhotoDir;
}
const char* HGAStatusDBPathGet(void) {
  return gHGAInformation.szDBPath;
}
const char* HGAStatusRequestPathGet(void) {
  return gHGAInformation.szRequestPath;
}
int HGAStatusUserPhotoPathLenGet(void) {
  return gHGAInformation.userPhotoPathLen;
}
