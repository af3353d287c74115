#include "db/sqlite_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <utility>

namespace {

constexpr const char* kSystemFiles = "unix";

std::string UniqueName() {
  static std::atomic<unsigned long> count{0};
  return "lumivault-" + std::to_string(++count);
}

}  // namespace

std::unique_ptr<SqliteFiles> SqliteFiles::Of(DatabaseFile place) {
  if (sqlite3_initialize() != SQLITE_OK) return nullptr;
  sqlite3_vfs* system = sqlite3_vfs_find(kSystemFiles);
  constexpr int kWithSystemCalls = 3;
  if (system == nullptr || system->iVersion < kWithSystemCalls) return nullptr;
  return std::unique_ptr<SqliteFiles>(new SqliteFiles(std::move(place), system));
}

SqliteFiles::SqliteFiles(DatabaseFile place, sqlite3_vfs* system)
    : own_(std::move(place), refusal_),
      temporary_(system->szOsFile, refusal_),
      nameless_(own_.place().path() + "-temporary"),
      vfs_name_(UniqueName()),
      system_(system),
      vfs_(*system) {
  vfs_.zName = vfs_name_.c_str();
  vfs_.pNext = nullptr;
  vfs_.pAppData = this;
  vfs_.szOsFile = temporary_.bytes_of_file();
  vfs_.xOpen = &Open;
  vfs_.xDelete = &Delete;
  vfs_.xAccess = &Access;
  vfs_.xFullPathname = &FullName;
  sqlite3_vfs_register(&vfs_, 0);
}

SqliteFiles::~SqliteFiles() {
  sqlite3_vfs_unregister(&vfs_);
}

int SqliteFiles::RefuseName(int code) {
  refusal_.Note(SqliteRefusal::Why::kOtherName, &own_.journal());
  return code;
}

std::optional<SqliteFileKind> SqliteFiles::KindOf(const char* name, int flags) const {
  if (name == nullptr)
    return (flags & SQLITE_OPEN_SUBJOURNAL) != 0 ? SqliteFileKind::kStatement : SqliteFileKind::kTemporary;
  const std::string* own = own_.Find(name);
  if (own == nullptr || (flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) return std::nullopt;
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0 && own_.IsDatabase(own)) return SqliteFileKind::kDatabase;
  if ((flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL)) != 0 && !own_.IsDatabase(own))
    return SqliteFileKind::kSideFile;
  return std::nullopt;
}

int SqliteFiles::Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  SqliteFiles& self = FilesOfVfs(vfs);
  file->pMethods = nullptr;
  const std::optional<SqliteFileKind> kind = self.KindOf(name, flags);
  if (!kind) return self.RefuseName(SQLITE_CANTOPEN);
  // A nameless file goes by itself; SQLite would delete what has its name.
  if (name == nullptr) flags &= ~(SQLITE_OPEN_DELETEONCLOSE | SQLITE_OPEN_EXCLUSIVE);
  SqliteGate gate(*self.system_, self.own_, *kind);
  const char* path = name != nullptr ? name : self.nameless_.c_str();
  const int code = self.system_->xOpen(self.system_, path, file, flags, out_flags);
  if (code != SQLITE_OK) return code;
  if (!gate.used()) {
    file->pMethods->xClose(file);
    file->pMethods = nullptr;
    return SQLITE_CANTOPEN;
  }
  self.temporary_.Clear(*file);
  self.TakeOver(gate.kind(), *file);
  return SQLITE_OK;
}

void SqliteFiles::TakeOver(SqliteFileKind kind, sqlite3_file& file) {
  if (kind == SqliteFileKind::kTemporary) temporary_.TakeOver(file);
  if (kind != SqliteFileKind::kDatabase) return;
  database_calls_.Give(file, *this);
  database_calls_.methods.xShmMap = &MapShared;
  database_calls_.methods.xShmUnmap = &UnmapShared;
}

int SqliteFiles::Delete(sqlite3_vfs* vfs, const char* name, int sync_folder) {
  SqliteFiles& self = FilesOfVfs(vfs);
  const std::string* own = self.own_.Find(name);
  if (own == nullptr || self.own_.IsDatabase(own)) return self.RefuseName(SQLITE_IOERR_DELETE);
  return self.system_->xDelete(self.system_, name, sync_folder);
}

int SqliteFiles::Access(sqlite3_vfs* vfs, const char* name, int /*flags*/, int* result) {
  SqliteFiles& self = FilesOfVfs(vfs);
  const std::string* own = self.own_.Find(name);
  if (own == nullptr) return self.RefuseName(SQLITE_IOERR_ACCESS);
  // An empty journal is none; what is no file is found out by the open.
  const auto status = StatusIn(self.place().folder(), *own);
  *result = status.has_value() && (!S_ISREG(status->st_mode) || status->st_size > 0) ? 1 : 0;
  return SQLITE_OK;
}

int SqliteFiles::FullName(sqlite3_vfs* vfs, const char* name, int size, char* full) {
  SqliteFiles& self = FilesOfVfs(vfs);
  const std::string& path = self.place().path();
  if (path != name || path.size() >= static_cast<std::size_t>(size)) return self.RefuseName(SQLITE_CANTOPEN);
  std::memcpy(full, path.c_str(), path.size() + 1);
  return SQLITE_OK;
}

int SqliteFiles::MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  const Calls& calls = Calls::Of(file);
  SqliteGate gate(*calls.owner->system_, calls.owner->own_, SqliteFileKind::kSideFile);
  return calls.system->xShmMap(file, region, size, extend, memory);
}

// SQLite would remove it under the name that the process's first connection to the file had for it, whose
// folder may be closed by now. Who removes it has the database for itself.
int SqliteFiles::UnmapShared(sqlite3_file* file, int remove) {
  const Calls& calls = Calls::Of(file);
  const int code = calls.system->xShmUnmap(file, 0);
  const SqliteOwnFiles& own = calls.owner->own_;
  if (remove != 0) unlinkat(own.place().folder().get(), own.shared().c_str(), 0);
  return code;
}
