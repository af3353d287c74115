#include "setup/database_adoption.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "common/database_name.h"
#include "common/display.h"
#include "database/database_reader.h"

namespace {

constexpr uid_t kRoot = 0;

// How the files begin. The numbers are those of the machine's own byte order, or of the other.
constexpr std::string_view kDatabaseStart{"SQLite format 3\0", 16};
constexpr std::array<std::string_view, 2> kLogStarts{"\x37\x7f\x06\x82", "\x37\x7f\x06\x83"};
constexpr std::uint32_t kLogIndexVersion = 3007000;

bool IsStartOf(const std::string& suffix, std::string_view start) {
  if (suffix.empty()) return start == kDatabaseStart;
  if (suffix == "-wal") {
    const std::string_view magic = start.substr(0, kLogStarts[0].size());
    return magic == kLogStarts[0] || magic == kLogStarts[1];
  }
  std::uint32_t version = 0;
  memcpy(&version, start.data(), sizeof version);
  return version == kLogIndexVersion;
}

bool BeginsAsItShould(int file, const std::string& suffix) {
  std::array<char, kDatabaseStart.size()> start{};
  const ssize_t count = pread(file, start.data(), start.size(), 0);
  return count == static_cast<ssize_t>(start.size()) && IsStartOf(suffix, {start.data(), start.size()});
}

FileDescriptor OpenIn(const FileDescriptor& folder, const std::string& name) {
  return FileDescriptor(
      openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// NAME in FOLDER is what is open as FILE.
bool IsStillNamed(const FileDescriptor& folder, const std::string& name, const FileDescriptor& file) {
  const auto held = IdOfOpen(file.get());
  return held && held == IdOfName(folder.get(), name.c_str());
}

// Whoever may write to the folder may have moved any file of root's here that lies there too. So what becomes
// the owner's tells him nothing that he could not read before, and has no other name.
bool MayBeGiven(const FileDescriptor& file, const std::string& suffix) {
  struct stat status {};
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         (status.st_mode & S_IROTH) != 0 && BeginsAsItShould(file.get(), suffix);
}

bool IsRoots(const FileDescriptor& file) {
  struct stat status {};
  return file && fstat(file.get(), &status) == 0 && status.st_uid == kRoot;
}

// Where it fails the worker tells that it cannot write.
void GiveTo(const FileDescriptor& file, const WorkerIdentity& owner) {
  static_cast<void>(!fchown(file.get(), owner.user, owner.group));
}

bool HasOurSchema(const Library& library) {
  DatabaseReader database = DatabaseReader::OpenForReading(library);
  return database && database.HasSchema();
}

Failure RefusedToGive(const Library& library, const std::string& name, const WorkerIdentity& owner) {
  const std::string file = library.folder + "/" + name;
  return {ExitStatus::kDatabase, Visible(file) +
                                     ": belongs to root, and may be another file of root's that was moved "
                                     "here; if it is the library's, run: chown " +
                                     std::to_string(owner.user) + " " + Visible(file)};
}

}  // namespace

Outcome<Done> AdoptDatabase(const Library& library, const WorkerIdentity& owner) {
  const FileDescriptor folder(open(library.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  // The way to it may have been exchanged since its owner was looked up.
  if (!folder || fstat(folder.get(), &status) != 0 || status.st_uid != owner.user) return Done{};
  const FileDescriptor database = OpenIn(folder, kDatabaseName);
  const bool given = IsRoots(database);
  if (given &&
      !(MayBeGiven(database, "") && HasOurSchema(library) && IsStillNamed(folder, kDatabaseName, database)))
    return RefusedToGive(library, kDatabaseName, owner);
  for (const std::string suffix : {"-wal", "-shm"}) {
    const FileDescriptor file = OpenIn(folder, kDatabaseName + suffix);
    if (!IsRoots(file)) continue;
    if (!given || !MayBeGiven(file, suffix)) return RefusedToGive(library, kDatabaseName + suffix, owner);
    GiveTo(file, owner);
  }
  if (given) GiveTo(database, owner);
  return Done{};
}
