#include "db/sqlite_own_files.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "core/file_identity.h"
#include "core/open_below.h"

namespace {

constexpr mode_t kPrivate = 0600;
constexpr int kLeaseTries = 100;
constexpr std::chrono::milliseconds kLeasePause{20};

int Answer(int error) {
  errno = error;
  return -1;
}

}  // namespace

SqliteOwnFiles::SqliteOwnFiles(DatabaseFile place, SqliteRefusal& refusal)
    : place_(std::move(place)),
      journal_(place_.name() + "-journal"),
      log_(place_.name() + "-wal"),
      shared_(place_.name() + "-shm"),
      refusal_(refusal) {}

const std::string* SqliteOwnFiles::Find(const char* path) const {
  const std::string_view whole = path;
  const std::string& database = place_.path();
  if (!whole.starts_with(database)) return nullptr;
  const std::string_view suffix = whole.substr(database.size());
  for (const std::string* name : {&place_.name(), &journal_, &log_, &shared_}) {
    if (std::string_view(*name).substr(place_.name().size()) == suffix) return name;
  }
  return nullptr;
}

int SqliteOwnFiles::Open(const char* path, int flags, mode_t mode) {
  const std::string* name = Find(path);
  return name != nullptr ? OpenNamed(*name, flags, mode) : Answer(EPERM);
}

FileDescriptor SqliteOwnFiles::OpenNameless() const {
  return FileDescriptor(openat(place_.folder().get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kPrivate));
}

int SqliteOwnFiles::OpenNamed(const std::string& name, int flags, mode_t mode) {
  // Somebody else may make or remove the file between two calls, but hardly so often.
  constexpr int kTries = 16;
  const int folder = place_.folder().get();
  for (int i = 0; i < kTries; ++i) {
    // Nobody notices this open: neither what waits behind a pipe nor a device.
    const FileDescriptor found(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (found) return OpenFound(found, name, flags);
    if (errno != ENOENT || (flags & O_CREAT) == 0) return -1;
    // It would be foreign to all others, and stay: who may not write the database cannot end its log.
    if (!writable_) {
      refusal_.Note(Why::kNotWritable, &place_.name(), database_->st_uid);
      return Answer(EACCES);
    }
    FileDescriptor made(openat(folder, name.c_str(), flags | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (made) made_ = IdOfOpen(made.get());
    if (made && IsDatabase(&name)) NoteDatabase(made);
    if (made && database_) ShareWithWriters(made, {*database_, opened_});
    if (made || errno != EEXIST) return made.Release();
  }
  return Answer(EAGAIN);
}

int SqliteOwnFiles::OpenFound(const FileDescriptor& found, const std::string& name, int flags) {
  const auto status = StatusOf(found);
  if (!status.has_value()) return -1;
  const Why why = WhyRefused({*status, found}, name);
  if (why != Why::kNothing) {
    refusal_.Note(why, &name);
    return Answer(EPERM);
  }
  if (IsDatabase(&name)) {
    NoteDatabase(found);
    // On a disk that is only read nothing is left beside it anyway.
    writable_ = faccessat(AT_FDCWD, NameOfDescriptor(found).c_str(), W_OK, AT_EACCESS) == 0 || errno == EROFS;
  }
  const int opening = flags & ~(O_CREAT | O_EXCL | O_NOFOLLOW);
  const auto user = database_ ? RightsFor(*status, *database_) : std::nullopt;
  if (!user) return OpenUnheld(found, name, opening);
  const FileIdentity as_user(*user);
  if (!as_user) return Answer(EPERM);
  const int opened = OpenUnheld(found, name, opening);
  // Refused for writing, SQLite asks again for reading.
  if (opened < 0 && errno == EACCES && (opening & O_ACCMODE) == O_RDONLY)
    refusal_.Note(Why::kMorePrivate, &name);
  return opened;
}

void SqliteOwnFiles::NoteDatabase(const FileDescriptor& database) {
  database_ = StatusOf(database);
  opened_ = Reopen(database, O_PATH);
}

int SqliteOwnFiles::OpenUnheld(const FileDescriptor& found, const std::string& name, int flags) {
  // Refused for writing, SQLite asks again for reading, which not every lease forbids.
  if (refusal_.Is(Why::kHeld)) return Answer(EWOULDBLOCK);
  for (int i = 0; i < kLeaseTries; ++i) {
    FileDescriptor opened = Reopen(found, flags | O_NONBLOCK);
    if (opened || errno != EWOULDBLOCK) return opened.Release();
    std::this_thread::sleep_for(kLeasePause);
  }
  refusal_.Note(Why::kHeld, &name);
  return Answer(EWOULDBLOCK);
}

SqliteRefusal::Why SqliteOwnFiles::WhyRefused(const FoundFile& found, const std::string& name) const {
  if (!S_ISREG(found.status.st_mode)) return Why::kNoFile;
  if (found.status.st_nlink > 1) return Why::kTwoNames;
  if (IsDatabase(&name) || !database_.has_value()) return Why::kNothing;
  const FoundFile database{*database_, opened_};
  if (!IsOfAWriter(found.status, database)) return Why::kForeign;
  return IsAsPublic(found, database) ? Why::kNothing : Why::kMorePrivate;
}
