#include "library/library.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

#include "base/file_id.h"
#include "base/fixed_path.h"
#include "base/limits.h"
#include "base/path_below.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/name_hash.h"
#include "library/trusted_way.h"
#include "platform/files.h"
#include "platform/index.h"
#include "platform/share.h"

namespace fs = std::filesystem;

namespace {

// No personal library is called so: their names end in a number.
constexpr const char* kSharedName = "shared";
constexpr mode_t kPrivateFile = 0600;
// SQLite opens no path of more than 512 bytes, and its own side files have longer names than the database.
constexpr std::size_t kLongestFolder = 490;
constexpr std::size_t kLongestBaseName = 32;

Failure Refused(const std::string& folder, const std::string& why) {
  return {ExitStatus::kUsage, AboutFile(folder, why)};
}

// The folder's base name in characters that are safe in files and settings, and a hash of its path.
std::string UserOf(const std::string& folder) {
  std::string name = fs::path(folder).filename().string().substr(0, kLongestBaseName);
  for (char& c : name) {
    const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (!safe) c = '_';
  }
  NameHash hash;
  hash.Add(folder);
  return (name.empty() ? "root" : name) + "-" + hash.Text();
}

Outcome<std::string> RealFolder(const std::string& folder) {
  const auto way = WayTo(folder);
  if (!way) return Refused(folder, way.failure().message);
  const std::string& path = *way;
  if (path == "/") return Refused(folder, "the root of the file system cannot be a library");
  if (path.find_first_of("\n\r") != std::string::npos)
    return Refused(folder, "a library's path cannot hold a line end");
  if (path.size() > kLongestFolder) {
    return Refused(folder, "the path is too long for a library: " + std::to_string(path.size()) +
                               " bytes, at most " + std::to_string(kLongestFolder));
  }
  return path;
}

// The lines of personal.conf with the library's own in it; the others as they stand.
std::string WithLibrary(const std::string& content, const Library& library) {
  const std::string own = KeyValueLine(library.user, library.folder);
  const std::string key = library.user + "=";
  std::string result;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    if (line + "\n" == own) return content;
    if (line.compare(0, key.size(), key) != 0) result += line + "\n";
  }
  return result + own;
}

bool Overlap(const std::string& one, const std::string& other) {
  return LiesBelow(one, other) || LiesBelow(other, one);
}

Failure Busy(const Library& library) {
  return {ExitStatus::kLibraryBusy, Visible(library.folder) + ": another run holds the library"};
}

// Whoever may look at the folder can lock it, and nobody knows who has.
Failure FolderBusy(const Library& library) {
  Failure failure = Busy(library);
  failure.message += ", or somebody else keeps its folder locked";
  return failure;
}

// Those who ask whether it is held have it for a moment each, so it is tried some times. False with errno.
bool LockAtOnce(const FileDescriptor& file) {
  constexpr std::chrono::milliseconds kPause{20};
  constexpr int kTries = 3;
  for (int tried = 1; flock(file.get(), LOCK_EX | LOCK_NB) != 0; ++tried) {
    if (errno != EWOULDBLOCK || tried == kTries) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

Outcome<FileDescriptor> LockInRoot(const StateRoot& root, const Library& library, int make) {
  const std::string file = root.Place(library.StateFolder() + "/lock");
  FileDescriptor lock(open(file.c_str(), O_RDWR | make | O_CLOEXEC | O_NOFOLLOW, kPrivateFile));
  if (!lock) return Failure{ExitStatus::kConfiguration, AboutFile(file, ErrorText(errno))};
  if (LockAtOnce(lock)) return lock;
  if (errno == EWOULDBLOCK) return Busy(library);
  return Failure{ExitStatus::kConfiguration, AboutFile(file, ErrorText(errno))};
}

// People move their libraries and give them up: one counts while its database is there, or a run that may
// just make it.
bool IsAlive(const StateRoot& root, const Library& library) {
  if (access(library.database().c_str(), F_OK) == 0) return true;
  const auto lock = LockInRoot(root, library, 0);
  return !lock && lock.failure().status == ExitStatus::kLibraryBusy;
}

// Why OTHER is in the way of LIBRARY, which it overlaps, and what people can do; "" for one that is dead. A
// server that never answers is not asked for its database: all others wait for who does.
std::string InTheWay(const StateRoot& root, const Library& other, const Library& library) {
  const std::string way = "; to give that one up, delete its " + std::string(kDatabaseName);
  if (KAVOIndexLeadsToForeignMount(library.folder.c_str(), other.database().c_str()))
    return ", which is on another machine or in an image file" + way + ", and unmount it for the next run";
  return IsAlive(root, other) ? way : "";
}

// The content of personal.conf, empty where there is none. One that cannot be read is not written anew: it
// tells of other libraries.
Outcome<std::string> PersonalList(const std::string& file) {
  auto content = ReadWholeFile(file);
  if (content) return *std::move(content);
  if (errno == ENOENT) return std::string();
  return Failure{ExitStatus::kConfiguration, AboutFile(file, ErrorText(errno))};
}

// The lines of personal.conf but those of dead libraries that LIBRARY overlaps; a failure when a living one
// is among them.
Outcome<std::string> WithoutDeadOverlaps(const StateRoot& root, const Library& library) {
  const std::string personal_file = root.Place(kPersonalFolders);
  const auto content = PersonalList(personal_file);
  if (!content) return content.failure();
  std::string result;
  std::istringstream lines(*content);
  for (std::string line; std::getline(lines, line);) {
    const std::string user = line.substr(0, line.find('='));
    std::array<char, kPathSize> folder{};
    const bool known =
        RLIBCFileGetKeyValue(personal_file.c_str(), user.c_str(), folder.data(), kPathSize, 0) >= 0;
    if (!known || !Overlap(folder.data(), library.folder)) {
      result += line + "\n";
    } else if (const std::string why = InTheWay(root, {folder.data(), user}, library); !why.empty()) {
      return Refused(library.folder, "lies in or around the library " + Visible(folder.data()) + why);
    }
  }
  return result;
}

Outcome<Done> Register(const StateRoot& root, const Library& library) {
  auto lock = root.Lock();
  if (!lock) return lock.failure();
  const auto content = WithoutDeadOverlaps(root, library);
  if (!content) return content.failure();
  for (const std::string& kept : {library.PreferenceFolder(), library.StateFolder()}) {
    if (auto made = root.MakeFolder(kept); !made) return made;
  }
  const std::string settings = root.Place(library.PreferenceFile());
  if (auto written = AddMissingSettings(settings, {{kPersonalSetting, "yes"}, {kPublicSetting, "no"}});
      !written)
    return written;
  return WriteWholeFile(root.Place(kPersonalFolders), WithLibrary(*content, library));
}

// A library that another state folder has made shows by its database.
std::optional<Library> FindByDatabase(std::string folder) {
  while (!folder.empty()) {
    Library library{folder, UserOf(folder)};
    struct stat status {};
    if (lstat(library.database().c_str(), &status) == 0 && S_ISREG(status.st_mode)) return library;
    const std::size_t slash = folder.rfind('/');
    folder.resize(slash != std::string::npos ? slash : 0);
  }
  return std::nullopt;
}

}  // namespace

std::string Library::StateFolder() const {
  return std::string(kLibraries) + "/" + user;
}

std::string Library::PreferenceFolder() const {
  return std::string(kPreferences) + "/" + user;
}

std::string Library::FileKey(const std::string& below) const {
  return shared() ? folder + "/" + below : below;
}

std::string Library::PathOfFileKey(const std::string& key) const {
  return shared() ? key : folder + "/" + key;
}

std::string Library::Below(const std::string& path) const {
  return LiesBelow(path, folder) ? path.substr(folder.size() + 1) : "";
}

Outcome<Library> NameLibrary(const std::string& folder) {
  const auto real = RealFolder(folder);
  if (!real) return real.failure();
  const auto shared = SharedTree();
  if (shared && *real == shared->folder) return Refused(*real, "is the shared tree; name it with --shared");
  if (shared && Overlap(*real, shared->folder))
    return Refused(*real, "lies in or around the shared tree " + Visible(shared->folder));
  return Library{*real, UserOf(*real)};
}

Outcome<Library> NameSharedTree(const std::string& folder) {
  const auto real = RealFolder(folder);
  if (!real) return real.failure();
  return Library{*real, kSharedName, LibraryKind::kShared};
}

Outcome<Done> ClearOfLibraries(const StateRoot& root, const Library& library) {
  auto lock = root.Lock();
  if (!lock) return lock.failure();
  const auto content = WithoutDeadOverlaps(root, library);
  if (!content) return content.failure();
  const std::string personal_file = root.Place(kPersonalFolders);
  if (ReadWholeFile(personal_file).value_or("") == *content) return Done{};
  return WriteWholeFile(personal_file, *content);
}

Outcome<Done> MayBeMade(const StateRoot& root, const Library& library) {
  const auto content = WithoutDeadOverlaps(root, library);
  return content ? Outcome<Done>(Done{}) : content.failure();
}

std::optional<Library> SharedTree() {
  std::array<char, kPathSize> link{};
  std::array<char, kPathSize> folder{};
  if (KAVOFixedPathGet(kSharedPhotoLink, link.data(), kPathSize) < 0 ||
      KAVOSharePathGet(kPhotoPackage, folder.data(), kPathSize) != 0) {
    return std::nullopt;
  }
  // Without the link the platform tells where the folder would be. One that stands there holds the job queues
  // of personal libraries and is no tree, whatever else somebody puts into it.
  if (std::string_view(folder.data()) == link.data()) return std::nullopt;
  return Library{folder.data(), kSharedName, LibraryKind::kShared};
}

Outcome<Library> RequireSharedTree(const std::string& named) {
  auto tree = SharedTree();
  if (!tree) {
    return Failure{ExitStatus::kConfiguration,
                   "there is no shared tree; make one with: lumivault init --shared FOLDER"};
  }
  if (named.empty()) return std::move(*tree);
  const auto real = RealFolder(named);
  if (!real) return real.failure();
  if (*real != tree->folder) return Refused(*real, "the shared tree is " + Visible(tree->folder));
  return std::move(*tree);
}

Outcome<Library> MakeLibrary(const StateRoot& root, const std::string& folder) {
  auto library = NameLibrary(folder);
  if (!library) return library;
  if (auto registered = Register(root, *library); !registered) return registered.failure();
  return library;
}

std::optional<Library> FindLibrary(const std::string& path) {
  std::array<char, kUserNameSize> user{};
  if (KAVOIndexIsPersonalPackagePath(path.c_str(), kPhotoPackage, user.data(), kUserNameSize) == 0) {
    auto tree = SharedTree();
    const bool lies_in_it = tree && IsOrLiesBelow(path, tree->folder);
    return lies_in_it ? std::move(tree) : FindByDatabase(path);
  }
  std::array<char, kPathSize> folder{};
  if (user.front() == '\0') return std::nullopt;  // nobody knows whose it is
  if (KAVOIndexPersonalPhotoPathGet(user.data(), folder.data(), kPathSize) < 0) return std::nullopt;
  return Library{folder.data(), user.data()};
}

bool OwnerIsKnown(const std::string& path) {
  std::array<char, kUserNameSize> user{};
  return KAVOIndexIsPersonalPackagePath(path.c_str(), kPhotoPackage, user.data(), kUserNameSize) == 0 ||
         user.front() != '\0';
}

Outcome<LibraryLock> LibraryLock::Take(const StateRoot& root, const Library& library) {
  auto in_root = LockInRoot(root, library, O_CREAT);
  if (!in_root) return in_root.failure();
  FileDescriptor folder(open(library.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder && !LockAtOnce(folder)) {
    if (errno == EWOULDBLOCK) return FolderBusy(library);
    // Some network file systems lock no folder; runs with this state folder are kept off all the same.
  }
  return LibraryLock(std::move(*in_root), std::move(folder));
}

bool LibraryLock::FolderIsThere(const Library& library) const {
  const auto named = IdBehind(library.folder.c_str());
  if (!named) return false;
  const auto held = folder_ ? IdOfOpen(folder_.get()) : std::nullopt;
  return !held || held == named;
}

bool IsHeld(const Library& library) {
  const FileDescriptor folder(open(library.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return folder && flock(folder.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::string KeyPath(const std::string& path) {
  std::error_code error;
  fs::path absolute = fs::absolute(path, error).lexically_normal();
  if (!absolute.has_filename()) absolute = absolute.parent_path();
  const fs::path parent = fs::weakly_canonical(absolute.parent_path(), error);
  return error ? absolute.string() : (parent / absolute.filename()).string();
}
