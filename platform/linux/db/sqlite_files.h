// What one SQLite connection may open and delete: its database, what SQLite keeps beside it, and nothing
// else.
#ifndef PLATFORM_LINUX_DB_SQLITE_FILES_H_
#define PLATFORM_LINUX_DB_SQLITE_FILES_H_

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>

#include "db/database_file.h"
#include "db/sqlite_calls.h"
#include "db/sqlite_gate.h"
#include "db/sqlite_own_files.h"
#include "db/sqlite_refusal.h"
#include "db/sqlite_temporary.h"

// The files of a connection as SQLite sees them (a VFS of its own, never the default one): those of its
// "unix", every open of which is made as SqliteOwnFiles has it. Another name is refused, be it to open, to
// ask for or to delete: a journal that somebody has left in the folder may name any file as one that goes
// with it. Temporary files are those of SqliteTemporary; what takes back a statement of a writer has no name
// in the database's folder, or is temporary where a file cannot be without one.
//
// Outlives the connection. Used by the connection's thread.
class SqliteFiles {
 public:
  // Null when SQLite has not the files of a Unix system.
  [[nodiscard]] static std::unique_ptr<SqliteFiles> Of(DatabaseFile place);
  ~SqliteFiles();
  SqliteFiles(const SqliteFiles&) = delete;
  SqliteFiles& operator=(const SqliteFiles&) = delete;

  // For sqlite3_open_v2.
  [[nodiscard]] const char* name() const { return vfs_.zName; }
  [[nodiscard]] const DatabaseFile& place() const { return own_.place(); }
  [[nodiscard]] SqliteRefusal& refusal() { return refusal_; }

 private:
  using Calls = SqliteCalls<SqliteFiles>;

  SqliteFiles(DatabaseFile place, sqlite3_vfs* system);

  static SqliteFiles& FilesOfVfs(sqlite3_vfs* vfs) { return *static_cast<SqliteFiles*>(vfs->pAppData); }
  static int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out_flags);
  static int Delete(sqlite3_vfs* vfs, const char* name, int sync_folder);
  static int Access(sqlite3_vfs* vfs, const char* name, int flags, int* result);
  static int FullName(sqlite3_vfs* vfs, const char* name, int size, char* full);
  static int MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** memory);
  static int UnmapShared(sqlite3_file* file, int remove);

  [[nodiscard]] std::optional<SqliteFileKind> KindOf(const char* name, int flags) const;
  void TakeOver(SqliteFileKind kind, sqlite3_file& file);
  // CODE, as the answer for a name that is none of the connection's.
  [[nodiscard]] int RefuseName(int code);

  SqliteRefusal refusal_;
  SqliteOwnFiles own_;
  SqliteTemporary temporary_;
  const std::string nameless_;  // what SQLite calls a temporary file
  const std::string vfs_name_;
  sqlite3_vfs* const system_;
  sqlite3_vfs vfs_;
  Calls database_calls_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_FILES_H_
