#include "db/sqlite_files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "core/error.h"
#include "core/open_below.h"
#include "core/person.h"

namespace {

using OpenCall = int (*)(const char* path, int flags, int mode);
using StatusCall = int (*)(const char* path, void* status);

constexpr const char* kSystemFiles = "unix";
constexpr const char* kOpen = "open";
constexpr const char* kStatus = "stat";
constexpr const char* kNothing = "/dev/null";  // SQLite fills the places of missing standard streams with it
constexpr const char* kAccessList = "system.posix_acl_access";
constexpr mode_t kPrivate = 0600;
constexpr uid_t kRoot = 0;
constexpr int kLeaseTries = 100;
constexpr std::chrono::milliseconds kLeasePause{20};
constexpr int kTries = 16;  // each time somebody else has made or removed the file in between

std::string UniqueName() {
  static std::atomic<unsigned long> count{0};
  return "lumivault-" + std::to_string(++count);
}

// Where a number may stand behind the first SIZE bytes.
std::size_t AlignedBehind(int size) {
  constexpr std::size_t kStep = sizeof(std::int64_t);
  return (static_cast<std::size_t>(size) + kStep - 1) / kStep * kStep;
}

int Answer(int error) {
  errno = error;
  return -1;
}

}  // namespace

// While it lives, the opens that SQLite's own files make in this thread are made by FILES. SQLite looks its
// system calls up in a table of the process; it holds ours for so long only, and for other threads they do
// what those before did.
class SqliteFiles::Gate {
 public:
  Gate(SqliteFiles& files, Kind kind) : lock_(TheMutex()), files_(files), kind_(kind) {
    // Other threads may come through ours at once, so what was before is known by then.
    open_before_ = reinterpret_cast<OpenCall>(Before(kOpen));
    status_before_ = reinterpret_cast<StatusCall>(Before(kStatus));
    Replace(kOpen, reinterpret_cast<sqlite3_syscall_ptr>(&Open));
    Replace(kStatus, reinterpret_cast<sqlite3_syscall_ptr>(&Status));
    current_ = this;
  }
  ~Gate() {
    const int kept = errno;
    current_ = nullptr;
    Replace(kStatus, reinterpret_cast<sqlite3_syscall_ptr>(status_before_.load()));
    Replace(kOpen, reinterpret_cast<sqlite3_syscall_ptr>(open_before_.load()));
    errno = kept;
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  // A file was opened through here.
  [[nodiscard]] bool used() const { return used_; }
  [[nodiscard]] Kind kind() const { return kind_; }

 private:
  static std::mutex& TheMutex() {
    static std::mutex mutex;
    return mutex;
  }
  sqlite3_syscall_ptr Before(const char* call) const {
    return files_.system_->xGetSystemCall(files_.system_, call);
  }
  void Replace(const char* call, sqlite3_syscall_ptr with) const {
    files_.system_->xSetSystemCall(files_.system_, call, with);
  }
  static int Open(const char* path, int flags, int mode) {
    if (current_ == nullptr || std::strcmp(path, kNothing) == 0)
      return open_before_.load()(path, flags, mode);
    const int opened = Contained(-1, [&] {
      return current_->files_.OpenDescriptor(current_->kind_, path, flags, static_cast<mode_t>(mode));
    });
    if (opened >= 0) current_->used_ = true;
    return opened;
  }
  // Asked for the database, SQLite may take a descriptor that the process has still open in the place of an
  // open; there is none. Of a new side file it asks whose the database is, to give it to him: of the one that
  // is open, whatever bears its name by now.
  static int Status(const char* path, void* status) {
    if (current_ == nullptr) return status_before_.load()(path, status);
    const FileDescriptor& database = current_->files_.opened_;
    if (current_->kind_ == Kind::kDatabase || !database) return Answer(ENOENT);
    return Contained(-1, [&] { return status_before_.load()(NameOfDescriptor(database).c_str(), status); });
  }

  static thread_local Gate* current_;
  static std::atomic<OpenCall> open_before_;
  static std::atomic<StatusCall> status_before_;

  const std::lock_guard<std::mutex> lock_;
  SqliteFiles& files_;
  Kind kind_;
  bool used_ = false;
};

thread_local SqliteFiles::Gate* SqliteFiles::Gate::current_ = nullptr;
std::atomic<OpenCall> SqliteFiles::Gate::open_before_{nullptr};
std::atomic<StatusCall> SqliteFiles::Gate::status_before_{nullptr};

std::unique_ptr<SqliteFiles> SqliteFiles::Of(DatabaseFile place) {
  if (sqlite3_initialize() != SQLITE_OK) return nullptr;
  sqlite3_vfs* system = sqlite3_vfs_find(kSystemFiles);
  constexpr int kWithSystemCalls = 3;
  if (system == nullptr || system->iVersion < kWithSystemCalls) return nullptr;
  return std::unique_ptr<SqliteFiles>(new SqliteFiles(std::move(place), system));
}

SqliteFiles::SqliteFiles(DatabaseFile place, sqlite3_vfs* system)
    : place_(std::move(place)),
      journal_(place_.name() + "-journal"),
      log_(place_.name() + "-wal"),
      shared_(place_.name() + "-shm"),
      nameless_(place_.path() + "-temporary"),
      vfs_name_(UniqueName()),
      system_(system),
      vfs_(*system) {
  vfs_.zName = vfs_name_.c_str();
  vfs_.pNext = nullptr;
  vfs_.pAppData = this;
  vfs_.szOsFile = static_cast<int>(AlignedBehind(system->szOsFile) + sizeof(std::int64_t));
  vfs_.xOpen = &Open;
  vfs_.xDelete = &Delete;
  vfs_.xAccess = &Access;
  vfs_.xFullPathname = &FullName;
  sqlite3_vfs_register(&vfs_, 0);
}

SqliteFiles::~SqliteFiles() {
  sqlite3_vfs_unregister(&vfs_);
}

std::string SqliteFiles::TakeRefusal() {
  std::string text = RefusalText();
  refused_ = Why::kNothing;
  return text;
}

std::string SqliteFiles::RefusalText() const {
  const std::string name = refused_name_ != nullptr ? *refused_name_ : "";
  switch (refused_) {
    case Why::kNothing:
      return "";
    case Why::kNoFile:
      return name + " is not a regular file.";
    case Why::kTwoNames:
      return name + " has another name (a hard link); a copy has not.";
    case Why::kForeign:
      return name + " belongs to somebody who may not write the database.";
    case Why::kNotWritable:
      return place_.name() + " belongs to user " + std::to_string(database_->st_uid) + "; user " +
             std::to_string(geteuid()) + " may not write it.";
    case Why::kHeld:
      return name + " is held by its owner (a lease); try again.";
    case Why::kOtherName:
      return journal_ + " names another file; it is not ours to touch.";
    case Why::kTooMuch:
      return "It needs more than " + std::to_string(kMostTemporary >> 20) + " MiB of temporary room.";
  }
  return "";
}

void SqliteFiles::Refuse(Why why, const std::string* name) {
  if (refused_ != Why::kNothing) return;
  refused_ = why;
  refused_name_ = name;
  ever_refused_ = true;
}

const std::string* SqliteFiles::OwnName(const char* path) const {
  const std::string_view whole = path;
  const std::string& database = place_.path();
  if (!whole.starts_with(database)) return nullptr;
  const std::string_view suffix = whole.substr(database.size());
  for (const std::string* name : {&place_.name(), &journal_, &log_, &shared_}) {
    if (std::string_view(*name).substr(place_.name().size()) == suffix) return name;
  }
  return nullptr;
}

std::optional<SqliteFiles::Kind> SqliteFiles::KindOf(const char* name, int flags) const {
  if (name == nullptr) return (flags & SQLITE_OPEN_SUBJOURNAL) != 0 ? Kind::kStatement : Kind::kTemporary;
  const std::string* own = OwnName(name);
  if (own == nullptr || (flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) return std::nullopt;
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0 && own == &place_.name()) return Kind::kDatabase;
  if ((flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL)) != 0 && own != &place_.name()) {
    return Kind::kSideFile;
  }
  return std::nullopt;
}

std::int64_t& SqliteFiles::SizeOf(sqlite3_file* file) const {
  return *reinterpret_cast<std::int64_t*>(reinterpret_cast<char*>(file) + AlignedBehind(system_->szOsFile));
}

int SqliteFiles::Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  SqliteFiles& self = Behind(vfs);
  file->pMethods = nullptr;
  const std::optional<Kind> kind = self.KindOf(name, flags);
  if (!kind) {
    self.Refuse(Why::kOtherName, nullptr);
    return SQLITE_CANTOPEN;
  }
  // A nameless file goes by itself; SQLite would delete what has its name.
  if (name == nullptr) flags &= ~(SQLITE_OPEN_DELETEONCLOSE | SQLITE_OPEN_EXCLUSIVE);
  Gate gate(self, *kind);
  const char* path = name != nullptr ? name : self.nameless_.c_str();
  const int code = self.system_->xOpen(self.system_, path, file, flags, out_flags);
  if (code != SQLITE_OK) return code;
  if (!gate.used()) {
    file->pMethods->xClose(file);
    file->pMethods = nullptr;
    return SQLITE_CANTOPEN;
  }
  self.SizeOf(file) = 0;
  self.ReplaceMethods(gate.kind(), *file);
  return SQLITE_OK;
}

void SqliteFiles::ReplaceMethods(Kind kind, sqlite3_file& file) {
  if (kind == Kind::kDatabase) {
    system_methods_ = file.pMethods;
    database_calls_ = {*file.pMethods, this};
    database_calls_.methods.xShmMap = &MapShared;
    database_calls_.methods.xShmUnmap = &UnmapShared;
    file.pMethods = &database_calls_.methods;
  } else if (kind == Kind::kTemporary) {
    system_temporary_methods_ = file.pMethods;
    temporary_calls_ = {*file.pMethods, this};
    temporary_calls_.methods.xWrite = &WriteTemporary;
    temporary_calls_.methods.xTruncate = &TruncateTemporary;
    temporary_calls_.methods.xClose = &CloseTemporary;
    temporary_calls_.methods.xFileControl = &NoControl;
    file.pMethods = &temporary_calls_.methods;
  }
}

int SqliteFiles::Delete(sqlite3_vfs* vfs, const char* name, int sync_folder) {
  SqliteFiles& self = Behind(vfs);
  const std::string* own = self.OwnName(name);
  if (own == nullptr || own == &self.place_.name()) {
    self.Refuse(Why::kOtherName, nullptr);
    return SQLITE_IOERR_DELETE;
  }
  return self.system_->xDelete(self.system_, name, sync_folder);
}

int SqliteFiles::Access(sqlite3_vfs* vfs, const char* name, int /*flags*/, int* result) {
  SqliteFiles& self = Behind(vfs);
  const std::string* own = self.OwnName(name);
  if (own == nullptr) {
    self.Refuse(Why::kOtherName, nullptr);
    return SQLITE_IOERR_ACCESS;
  }
  // An empty journal is none; what is no file is found out by the open.
  const auto status = StatusIn(self.place_.folder(), *own);
  *result = status.has_value() && (!S_ISREG(status->st_mode) || status->st_size > 0) ? 1 : 0;
  return SQLITE_OK;
}

int SqliteFiles::FullName(sqlite3_vfs* vfs, const char* name, int size, char* full) {
  SqliteFiles& self = Behind(vfs);
  const std::string& path = self.place_.path();
  if (path != name || path.size() >= static_cast<std::size_t>(size)) {
    self.Refuse(Why::kOtherName, nullptr);
    return SQLITE_CANTOPEN;
  }
  std::memcpy(full, path.c_str(), path.size() + 1);
  return SQLITE_OK;
}

int SqliteFiles::MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  SqliteFiles& self = FilesOf(file);
  const Gate gate(self, Kind::kSideFile);
  return self.system_methods_->xShmMap(file, region, size, extend, memory);
}

// SQLite would remove it under the name that the process's first connection to the file had for it, whose
// folder may be closed by now. Who removes it has the database for itself.
int SqliteFiles::UnmapShared(sqlite3_file* file, int remove) {
  SqliteFiles& self = FilesOf(file);
  const int code = self.system_methods_->xShmUnmap(file, 0);
  if (remove != 0) unlinkat(self.place_.folder().get(), self.shared_.c_str(), 0);
  return code;
}

int SqliteFiles::WriteTemporary(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
  SqliteFiles& self = FilesOf(file);
  std::int64_t& size = self.SizeOf(file);
  const std::int64_t grown = offset + amount - size;
  if (grown > 0) {
    if (self.temporary_ + grown > kMostTemporary) {
      self.Refuse(Why::kTooMuch, nullptr);
      return SQLITE_FULL;
    }
    self.temporary_ += grown;
    size += grown;
  }
  return self.system_temporary_methods_->xWrite(file, data, amount, offset);
}

int SqliteFiles::TruncateTemporary(sqlite3_file* file, sqlite3_int64 size) {
  SqliteFiles& self = FilesOf(file);
  std::int64_t& before = self.SizeOf(file);
  if (size < before) {
    self.temporary_ -= before - size;
    before = size;
  }
  return self.system_temporary_methods_->xTruncate(file, size);
}

int SqliteFiles::CloseTemporary(sqlite3_file* file) {
  SqliteFiles& self = FilesOf(file);
  self.temporary_ -= self.SizeOf(file);
  return self.system_temporary_methods_->xClose(file);
}

// Among them is one that makes the file larger.
int SqliteFiles::NoControl(sqlite3_file* /*file*/, int /*code*/, void* /*argument*/) {
  return SQLITE_NOTFOUND;
}

int SqliteFiles::OpenDescriptor(Kind& kind, const char* path, int flags, mode_t mode) {
  if (kind == Kind::kStatement || kind == Kind::kTemporary) return OpenNameless(kind);
  const std::string* name = OwnName(path);
  return name != nullptr ? OpenNamed(*name, flags, mode) : Answer(EPERM);
}

int SqliteFiles::OpenNamed(const std::string& name, int flags, mode_t mode) {
  const int folder = place_.folder().get();
  for (int i = 0; i < kTries; ++i) {
    // Nobody notices this open: neither what waits behind a pipe nor a device.
    const FileDescriptor found(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (found) return OpenFound(found, name, flags);
    if (errno != ENOENT || (flags & O_CREAT) == 0) return -1;
    // It would be foreign to all others, and stay: who may not write the database cannot end its log.
    if (!writable_) {
      Refuse(Why::kNotWritable, &name);
      return Answer(EACCES);
    }
    FileDescriptor made(openat(folder, name.c_str(), flags | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (made && &name == &place_.name()) NoteDatabase(made);
    if (made || errno != EEXIST) return made.Release();
  }
  return Answer(EAGAIN);
}

int SqliteFiles::OpenFound(const FileDescriptor& found, const std::string& name, int flags) {
  const auto status = StatusOf(found);
  if (!status.has_value()) return -1;
  const Why why = Judge(*status, name);
  if (why != Why::kNothing) {
    Refuse(why, &name);
    return Answer(EPERM);
  }
  if (&name == &place_.name()) {
    NoteDatabase(found);
    // On a disk that is only read nothing is left beside it anyway.
    writable_ = faccessat(AT_FDCWD, NameOfDescriptor(found).c_str(), W_OK, AT_EACCESS) == 0 || errno == EROFS;
  }
  return OpenUnheld(found, name, flags & ~(O_CREAT | O_EXCL | O_NOFOLLOW));
}

void SqliteFiles::NoteDatabase(const FileDescriptor& database) {
  database_ = StatusOf(database);
  opened_ = Reopen(database, O_PATH);
}

int SqliteFiles::OpenUnheld(const FileDescriptor& found, const std::string& name, int flags) {
  // Refused for writing, SQLite asks again for reading, which not every lease forbids.
  if (refused_ == Why::kHeld) return Answer(EWOULDBLOCK);
  for (int i = 0; i < kLeaseTries; ++i) {
    FileDescriptor opened = Reopen(found, flags | O_NONBLOCK);
    if (opened || errno != EWOULDBLOCK) return opened.Release();
    std::this_thread::sleep_for(kLeasePause);
  }
  Refuse(Why::kHeld, &name);
  return Answer(EWOULDBLOCK);
}

SqliteFiles::Why SqliteFiles::Judge(const struct stat& status, const std::string& name) const {
  if (!S_ISREG(status.st_mode)) return Why::kNoFile;
  if (status.st_nlink > 1) return Why::kTwoNames;
  if (&name == &place_.name() || !database_.has_value()) return Why::kNothing;
  return IsOwn(status) ? Why::kNothing : Why::kForeign;
}

bool SqliteFiles::IsOwn(const struct stat& side_file) const {
  const struct stat& database = *database_;
  if (side_file.st_uid == database.st_uid) return true;
  // SQLite gives root's side files to the database's owner. What was root's before would be given away: only
  // one that has just been made, by root, is taken for a side file.
  if (geteuid() == kRoot && side_file.st_uid == kRoot) return side_file.st_size == 0;
  if (side_file.st_uid == geteuid() || side_file.st_uid == kRoot) return true;
  // Who may write the database could write there what a side file has it take in.
  return (database.st_mode & S_IWOTH) != 0 || GroupMayWrite(side_file.st_uid);
}

// The file's own group says nothing of who has made it: folders hand theirs down. Where there is an access
// list the group's bits are no longer the group's.
bool SqliteFiles::GroupMayWrite(uid_t user) const {
  const bool may = (database_->st_mode & S_IWGRP) != 0 &&
                   getxattr(NameOfDescriptor(opened_).c_str(), kAccessList, nullptr, 0) <= 0;
  const std::vector<gid_t> groups = may ? FindPerson(user).groups : std::vector<gid_t>();
  return std::find(groups.begin(), groups.end(), database_->st_gid) != groups.end();
}

int SqliteFiles::OpenNameless(Kind& kind) const {
  if (kind == Kind::kStatement) {
    FileDescriptor opened(openat(place_.folder().get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kPrivate));
    if (opened) return opened.Release();
    kind = Kind::kTemporary;
  }
  return memfd_create("lumivault-temporary", MFD_CLOEXEC);
}
