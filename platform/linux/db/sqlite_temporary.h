// The room that SQLite may take for what no file of the database holds.
#ifndef PLATFORM_LINUX_DB_SQLITE_TEMPORARY_H_
#define PLATFORM_LINUX_DB_SQLITE_TEMPORARY_H_

#include <sqlite3.h>

#include <cstdint>

#include "base/file_descriptor.h"
#include "db/sqlite_calls.h"
#include "db/sqlite_refusal.h"

// The temporary files of one connection. They lie in memory, and have a bound for all of them together; what
// goes beyond fails as on a full disk, and is noted in REFUSAL, which outlives this. Used by the connection's
// thread.
class SqliteTemporary {
 public:
  static constexpr std::int64_t kMost = std::int64_t{256} << 20;

  // SYSTEM_SIZE bytes are SQLite's own of an open file.
  SqliteTemporary(int system_size, SqliteRefusal& refusal);
  SqliteTemporary(const SqliteTemporary&) = delete;
  SqliteTemporary& operator=(const SqliteTemporary&) = delete;

  // Those with the room behind for the size of this one.
  [[nodiscard]] int bytes_of_file() const;
  // A new one, as SQLite is to open it.
  [[nodiscard]] static FileDescriptor Make();
  // Of any file when it has been opened.
  void Clear(sqlite3_file& file) const { SizeOf(&file) = 0; }
  // From here on the calls of the temporary FILE are counted.
  void TakeOver(sqlite3_file& file);

 private:
  using Calls = SqliteCalls<SqliteTemporary>;

  [[nodiscard]] std::int64_t& SizeOf(sqlite3_file* file) const;
  static int Write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset);
  static int Truncate(sqlite3_file* file, sqlite3_int64 size);
  static int Close(sqlite3_file* file);
  static int NoControl(sqlite3_file* file, int code, void* argument);

  const int system_size_;
  SqliteRefusal& refusal_;
  Calls calls_;
  std::int64_t taken_ = 0;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_TEMPORARY_H_
