// Bounds for a connection to a file that anyone may have written.
#ifndef PLATFORM_LINUX_DB_SQLITE_DISTRUST_H_
#define PLATFORM_LINUX_DB_SQLITE_DISTRUST_H_

#include <sqlite3.h>

#include <array>

// For the connection's life: its schema may not reach for functions with side effects, a statement may not
// damage the file or open another, values have a bound. Views, triggers and virtual tables that come into the
// schema after it has been looked at do nothing.
void DistrustFile(sqlite3* database);

// While it lives a schema that nobody has looked at yet is read within tighter bounds: SQLite itself asks for
// its own statistics with it, and these may be computed.
class SchemaBounds {
 public:
  explicit SchemaBounds(sqlite3* database);
  ~SchemaBounds();
  SchemaBounds(const SchemaBounds&) = delete;
  SchemaBounds& operator=(const SchemaBounds&) = delete;

 private:
  sqlite3* const database_;
  std::array<int, 2> before_;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_DISTRUST_H_
