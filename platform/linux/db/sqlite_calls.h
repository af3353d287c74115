// The calls of an open SQLite file, some of them exchanged.
#ifndef PLATFORM_LINUX_DB_SQLITE_CALLS_H_
#define PLATFORM_LINUX_DB_SQLITE_CALLS_H_

#include <sqlite3.h>

// Those of all open files of one kind that an OWNER has; it outlives the files. Used by the thread of their
// connection.
template <typename Owner>
struct SqliteCalls {
  sqlite3_io_methods methods{};                // SQLite's pointer to these is one to the whole
  const sqlite3_io_methods* system = nullptr;  // as they were
  Owner* owner = nullptr;

  // FILE has them from here on; those to be exchanged are exchanged in methods then.
  void Give(sqlite3_file& file, Owner& to) {
    system = file.pMethods;
    methods = *system;
    owner = &to;
    file.pMethods = &methods;
  }
  // Of a FILE that was given them.
  static const SqliteCalls& Of(const sqlite3_file* file) {
    return *reinterpret_cast<const SqliteCalls*>(file->pMethods);
  }
};

#endif  // PLATFORM_LINUX_DB_SQLITE_CALLS_H_
