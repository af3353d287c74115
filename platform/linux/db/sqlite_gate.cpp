#include "db/sqlite_gate.h"

#include <errno.h>

#include <cstring>

#include "base/file_descriptor.h"
#include "core/error.h"
#include "core/open_below.h"
#include "db/sqlite_temporary.h"

namespace {

constexpr const char* kOpen = "open";
constexpr const char* kStatus = "stat";
constexpr const char* kGive = "fchown";
constexpr const char* kMode = "fchmod";
constexpr const char* kNothing = "/dev/null";  // SQLite fills the places of missing standard streams with it

}  // namespace

thread_local SqliteGate* SqliteGate::current_ = nullptr;
std::atomic<SqliteGate::OpenCall> SqliteGate::open_before_{nullptr};
std::atomic<SqliteGate::StatusCall> SqliteGate::status_before_{nullptr};
std::atomic<SqliteGate::GiveCall> SqliteGate::give_before_{nullptr};
std::atomic<SqliteGate::ModeCall> SqliteGate::mode_before_{nullptr};

std::mutex& SqliteGate::TheMutex() {
  static std::mutex mutex;
  return mutex;
}

SqliteGate::SqliteGate(sqlite3_vfs& system, SqliteOwnFiles& own, SqliteFileKind kind)
    : lock_(TheMutex()), system_(system), own_(own), kind_(kind) {
  // Other threads may come through ours at once, so what was before is known by then.
  open_before_ = reinterpret_cast<OpenCall>(Before(kOpen));
  status_before_ = reinterpret_cast<StatusCall>(Before(kStatus));
  give_before_ = reinterpret_cast<GiveCall>(Before(kGive));
  mode_before_ = reinterpret_cast<ModeCall>(Before(kMode));
  own_.ForgetMade();
  Replace(kOpen, reinterpret_cast<sqlite3_syscall_ptr>(&Open));
  Replace(kStatus, reinterpret_cast<sqlite3_syscall_ptr>(&Status));
  Replace(kGive, reinterpret_cast<sqlite3_syscall_ptr>(&Give));
  Replace(kMode, reinterpret_cast<sqlite3_syscall_ptr>(&GiveMode));
  current_ = this;
}

SqliteGate::~SqliteGate() {
  const int kept = errno;
  current_ = nullptr;
  Replace(kMode, reinterpret_cast<sqlite3_syscall_ptr>(mode_before_.load()));
  Replace(kGive, reinterpret_cast<sqlite3_syscall_ptr>(give_before_.load()));
  Replace(kStatus, reinterpret_cast<sqlite3_syscall_ptr>(status_before_.load()));
  Replace(kOpen, reinterpret_cast<sqlite3_syscall_ptr>(open_before_.load()));
  errno = kept;
}

sqlite3_syscall_ptr SqliteGate::Before(const char* call) const {
  return system_.xGetSystemCall(&system_, call);
}

void SqliteGate::Replace(const char* call, sqlite3_syscall_ptr with) const {
  system_.xSetSystemCall(&system_, call, with);
}

int SqliteGate::Open(const char* path, int flags, int mode) {
  if (current_ == nullptr || std::strcmp(path, kNothing) == 0) return open_before_.load()(path, flags, mode);
  const int opened =
      WithoutExceptions(-1, [&] { return current_->OpenDescriptor(path, flags, static_cast<mode_t>(mode)); });
  if (opened >= 0) current_->used_ = true;
  return opened;
}

// Asked for the database, SQLite may take a descriptor that the process has still open in the place of an
// open; there is none. Of a new side file it asks whose the database is, to give it to him: of the one that
// is open, whatever bears its name by now.
int SqliteGate::Status(const char* path, void* status) {
  if (current_ == nullptr) return status_before_.load()(path, status);
  const FileDescriptor& database = current_->own_.database();
  if (current_->kind_ == SqliteFileKind::kDatabase || !database) {
    errno = ENOENT;
    return -1;
  }
  return WithoutExceptions(-1,
                           [&] { return status_before_.load()(NameOfDescriptor(database).c_str(), status); });
}

// SQLite gives whatever it opens beside the database to the database's owner, when it runs as root, and to
// what is empty the database's mode. What was there before may be anybody's: it stays as it is.
bool SqliteGate::MayChange(int file) {
  return current_ == nullptr || current_->own_.HasMade(file);
}

int SqliteGate::Give(int file, uid_t user, gid_t group) {
  return MayChange(file) ? give_before_.load()(file, user, group) : 0;
}

int SqliteGate::GiveMode(int file, mode_t mode) {
  return MayChange(file) ? mode_before_.load()(file, mode) : 0;
}

int SqliteGate::OpenDescriptor(const char* path, int flags, mode_t mode) {
  if (kind_ == SqliteFileKind::kDatabase || kind_ == SqliteFileKind::kSideFile)
    return own_.Open(path, flags, mode);
  if (kind_ == SqliteFileKind::kStatement) {
    FileDescriptor opened = own_.OpenNameless();
    if (opened) return opened.Release();
    kind_ = SqliteFileKind::kTemporary;
  }
  return SqliteTemporary::Make().Release();
}
