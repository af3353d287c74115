// Our opens in the place of those that SQLite's own files make.
#ifndef PLATFORM_LINUX_DB_SQLITE_GATE_H_
#define PLATFORM_LINUX_DB_SQLITE_GATE_H_

#include <sqlite3.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "db/sqlite_own_files.h"

// What SQLite opens a file as; kStatement is what takes one statement back.
enum class SqliteFileKind : std::uint8_t { kDatabase, kSideFile, kStatement, kTemporary };

// While it lives, the opens that SQLite's own files make in this thread are those of OWN files, or of
// nameless ones. SQLite looks its system calls up in a table of the process; it holds ours for so long only,
// and for other threads they do what those before did.
//
// Belongs to the thread that makes it; one that another thread has is waited for.
class SqliteGate {
 public:
  SqliteGate(sqlite3_vfs& system, SqliteOwnFiles& own, SqliteFileKind kind);
  ~SqliteGate();
  SqliteGate(const SqliteGate&) = delete;
  SqliteGate& operator=(const SqliteGate&) = delete;

  // A file was opened through here.
  [[nodiscard]] bool used() const { return used_; }
  // What it was opened as: temporary also where a nameless one in the folder cannot be.
  [[nodiscard]] SqliteFileKind kind() const { return kind_; }

 private:
  using OpenCall = int (*)(const char* path, int flags, int mode);
  using StatusCall = int (*)(const char* path, void* status);
  using GiveCall = int (*)(int file, uid_t user, gid_t group);
  using ModeCall = int (*)(int file, mode_t mode);

  static std::mutex& TheMutex();
  [[nodiscard]] sqlite3_syscall_ptr Before(const char* call) const;
  void Replace(const char* call, sqlite3_syscall_ptr with) const;
  static int Open(const char* path, int flags, int mode);
  static int Status(const char* path, void* status);
  static bool MayChange(int file);
  static int Give(int file, uid_t user, gid_t group);
  static int GiveMode(int file, mode_t mode);
  [[nodiscard]] int OpenDescriptor(const char* path, int flags, mode_t mode);

  static thread_local SqliteGate* current_;
  static std::atomic<OpenCall> open_before_;
  static std::atomic<StatusCall> status_before_;
  static std::atomic<GiveCall> give_before_;
  static std::atomic<ModeCall> mode_before_;

  const std::lock_guard<std::mutex> lock_;
  sqlite3_vfs& system_;
  SqliteOwnFiles& own_;
  SqliteFileKind kind_;
  bool used_ = false;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_GATE_H_
