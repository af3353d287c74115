#include "db/sqlite_creation.h"

#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "base/ascii.h"
#include "base/file_descriptor.h"
#include "core/open_below.h"
#include "db/database_file.h"

namespace {

constexpr mode_t kUsualMode = 0644;
constexpr int kFlags = O_RDWR | O_CLOEXEC;

struct Close {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct Free {
  void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
};
using Database = std::unique_ptr<sqlite3, Close>;

// Notes in LOGGED that a script asks for a write-ahead log, which a database in memory cannot have, and lets
// it reach no file.
int Watch(void* logged, int action, const char* first, const char* second, const char* /*database*/,
          const char* /*trigger*/) {
  if (action == SQLITE_ATTACH) return SQLITE_DENY;
  if (action == SQLITE_PRAGMA && second != nullptr && EqualsIgnoreAsciiCase(first, "journal_mode"))
    *static_cast<bool*>(logged) = EqualsIgnoreAsciiCase(second, "wal");
  return SQLITE_OK;
}

// The bytes of the file, as the file format has them.
std::optional<std::string> ImageOf(const std::string& script) {
  constexpr std::size_t kWriteVersion = 18;
  constexpr std::size_t kReadVersion = 19;
  constexpr char kWithLog = 2;
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  const Database database(opened);
  errno = ENOMEM;
  if (code != SQLITE_OK) return std::nullopt;
  bool logged = false;
  sqlite3_set_authorizer(opened, &Watch, &logged);
  errno = EINVAL;
  if (sqlite3_exec(opened, script.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) return std::nullopt;
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, Free> bytes(sqlite3_serialize(opened, "main", &size, 0));
  if (bytes == nullptr) return std::nullopt;  // the script makes nothing
  std::string image(reinterpret_cast<const char*>(bytes.get()), static_cast<std::size_t>(size));
  if (logged) image[kWriteVersion] = image[kReadVersion] = kWithLog;
  return image;
}

bool WriteDurably(const FileDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file.get(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return fsync(file.get()) == 0;
}

// Whether a new name is there: this one, or one that somebody else made first.
bool IsNamed(int result) {
  return result == 0 || errno == EEXIST;
}

// A hidden name that nobody guesses; it goes with the object.
class HiddenName {
 public:
  HiddenName(const FileDescriptor& folder, const std::string& name) : folder_(folder) {
    std::array<std::uint64_t, 2> random{};
    if (getrandom(random.data(), sizeof(random), 0) != sizeof(random)) return;
    const char* dot = name.starts_with('.') ? "" : ".";
    name_ = dot + name + "." + std::to_string(random[0]) + std::to_string(random[1]) + ".new";
  }
  ~HiddenName() {
    const int kept = errno;
    if (!name_.empty()) unlinkat(folder_.get(), name_.c_str(), 0);
    errno = kept;
  }
  HiddenName(const HiddenName&) = delete;
  HiddenName& operator=(const HiddenName&) = delete;

  [[nodiscard]] FileDescriptor Make() const {
    if (name_.empty()) return FileDescriptor();
    return FileDescriptor(
        openat(folder_.get(), name_.c_str(), kFlags | O_CREAT | O_EXCL | O_NOFOLLOW, kUsualMode));
  }
  [[nodiscard]] bool TakeName(const std::string& name) const {
    const int folder = folder_.get();
    if (IsNamed(renameat2(folder, name_.c_str(), folder, name.c_str(), RENAME_NOREPLACE))) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    return IsNamed(linkat(folder, name_.c_str(), folder, name.c_str(), 0));
  }

 private:
  const FileDescriptor& folder_;
  std::string name_;
};

bool PlaceUnderHiddenName(const DatabaseFile& place, std::string_view image) {
  const HiddenName hidden(place.folder(), place.name());
  const FileDescriptor file = hidden.Make();
  return file && WriteDurably(file, image) && hidden.TakeName(place.name());
}

bool Place(const DatabaseFile& place, std::string_view image) {
  const int folder = place.folder().get();
  const FileDescriptor file(openat(folder, ".", O_TMPFILE | kFlags, kUsualMode));
  if (!file) {
    // An older kernel takes the flag for one of folders.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return false;
    return PlaceUnderHiddenName(place, image);
  }
  if (!WriteDurably(file, image)) return false;
  const std::string nameless = NameOfDescriptor(file);
  return IsNamed(linkat(AT_FDCWD, nameless.c_str(), folder, place.name().c_str(), AT_SYMLINK_FOLLOW));
}

}  // namespace

bool MakeSqliteDatabase(const std::string& file, const std::string& script) {
  std::string ignored;
  errno = EINVAL;  // should something else than a regular file stand there
  const std::optional<DatabaseFile> place = DatabaseFile::Find(file, ignored);
  if (!place) return false;
  if (StatusIn(place->folder(), place->name())) return true;
  const std::optional<std::string> image = ImageOf(script);
  if (!image || !Place(*place, *image)) return false;
  const FileDescriptor folder = Reopen(place->folder(), O_RDONLY | O_DIRECTORY);
  if (folder) fsync(folder.get());  // where the folder may be read at all
  return true;
}
