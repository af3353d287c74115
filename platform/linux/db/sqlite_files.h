// What one SQLite connection may open and delete: its database, what SQLite keeps beside it, and nothing
// else.
#ifndef PLATFORM_LINUX_DB_SQLITE_FILES_H_
#define PLATFORM_LINUX_DB_SQLITE_FILES_H_

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "db/database_file.h"

// The files of a connection as SQLite sees them (a VFS of its own, never the default one): those of its
// "unix", every open of which is made below the held folder, of a regular file with one name, never through a
// link. Another name is refused, be it to open, to ask for or to delete: a journal that somebody has left in
// the folder may name any file as one that goes with it. Temporary files lie in memory, up to a bound; what
// takes back a statement of a writer has no name in the database's folder, or is temporary where a file
// cannot be without one.
//
// Outlives the connection. Used by the connection's thread.
class SqliteFiles {
 public:
  static constexpr std::int64_t kMostTemporary = std::int64_t{256} << 20;

  // Null when SQLite has not the files of a Unix system.
  [[nodiscard]] static std::unique_ptr<SqliteFiles> Of(DatabaseFile place);
  ~SqliteFiles();
  SqliteFiles(const SqliteFiles&) = delete;
  SqliteFiles& operator=(const SqliteFiles&) = delete;

  // For sqlite3_open_v2.
  [[nodiscard]] const char* name() const { return vfs_.zName; }
  [[nodiscard]] const DatabaseFile& place() const { return place_; }
  // What was refused since this was asked the last time (the first of it), in one line; empty when nothing
  // was.
  [[nodiscard]] std::string TakeRefusal();
  // Something was refused, be it taken or not.
  [[nodiscard]] bool refused() const { return ever_refused_; }

 private:
  enum class Why : std::uint8_t {
    kNothing,
    kNoFile,
    kTwoNames,
    kForeign,
    kNotWritable,
    kHeld,
    kOtherName,
    kTooMuch
  };
  enum class Kind : std::uint8_t { kDatabase, kSideFile, kStatement, kTemporary };
  // What an open file's calls are, and whose.
  struct Calls {
    sqlite3_io_methods methods{};
    SqliteFiles* files = nullptr;
  };
  class Gate;

  SqliteFiles(DatabaseFile place, sqlite3_vfs* system);

  static SqliteFiles& Behind(sqlite3_vfs* vfs) { return *static_cast<SqliteFiles*>(vfs->pAppData); }
  // Of an open database or temporary file.
  static SqliteFiles& FilesOf(const sqlite3_file* file) {
    return *reinterpret_cast<const Calls*>(file->pMethods)->files;
  }
  // Of a temporary file, kept behind what is SQLite's own of it.
  [[nodiscard]] std::int64_t& SizeOf(sqlite3_file* file) const;
  static int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out_flags);
  static int Delete(sqlite3_vfs* vfs, const char* name, int sync_folder);
  static int Access(sqlite3_vfs* vfs, const char* name, int flags, int* result);
  static int FullName(sqlite3_vfs* vfs, const char* name, int size, char* full);
  static int MapShared(sqlite3_file* file, int region, int size, int extend, void volatile** memory);
  static int UnmapShared(sqlite3_file* file, int remove);
  static int WriteTemporary(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset);
  static int TruncateTemporary(sqlite3_file* file, sqlite3_int64 size);
  static int CloseTemporary(sqlite3_file* file);
  static int NoControl(sqlite3_file* file, int code, void* argument);

  [[nodiscard]] std::optional<Kind> KindOf(const char* name, int flags) const;
  void ReplaceMethods(Kind kind, sqlite3_file& file);
  // A KIND that has to be another one is made that.
  [[nodiscard]] int OpenDescriptor(Kind& kind, const char* path, int flags, mode_t mode);
  [[nodiscard]] int OpenNamed(const std::string& name, int flags, mode_t mode);
  [[nodiscard]] int OpenFound(const FileDescriptor& found, const std::string& name, int flags);
  // An owner may have a lease on a file, for which the open of another waits as long as the system lets it
  // (45 s); this one waits two seconds.
  [[nodiscard]] int OpenUnheld(const FileDescriptor& found, const std::string& name, int flags);
  [[nodiscard]] int OpenNameless(Kind& kind) const;
  [[nodiscard]] Why Judge(const struct stat& status, const std::string& name) const;
  // Whether it may lie beside the database: made by who may write that.
  [[nodiscard]] bool IsOwn(const struct stat& side_file) const;
  [[nodiscard]] bool GroupMayWrite(uid_t user) const;
  void NoteDatabase(const FileDescriptor& database);
  // Nothing for a name that is none of the connection's.
  [[nodiscard]] const std::string* OwnName(const char* path) const;
  [[nodiscard]] std::string RefusalText() const;
  void Refuse(Why why, const std::string* name);

  const DatabaseFile place_;
  const std::string journal_;  // names in the folder
  const std::string log_;
  const std::string shared_;
  const std::string nameless_;  // what SQLite calls a temporary file
  const std::string vfs_name_;
  sqlite3_vfs* const system_;
  sqlite3_vfs vfs_;
  Calls database_calls_;
  Calls temporary_calls_;
  const sqlite3_io_methods* system_methods_ = nullptr;
  const sqlite3_io_methods* system_temporary_methods_ = nullptr;
  std::optional<struct stat> database_;  // as it was opened
  FileDescriptor opened_;                // stands for it (O_PATH)
  bool writable_ = true;                 // the database, by whoever has opened it
  std::int64_t temporary_ = 0;
  Why refused_ = Why::kNothing;
  const std::string* refused_name_ = nullptr;
  bool ever_refused_ = false;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_FILES_H_
