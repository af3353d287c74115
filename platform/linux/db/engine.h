// What a connection handle stands on: one connection to one of the two engines.
#ifndef PLATFORM_LINUX_DB_ENGINE_H_
#define PLATFORM_LINUX_DB_ENGINE_H_

#include <chrono>
#include <string>

#include "db/result_set.h"

// No statement takes longer than this, waiting for locks included; one that does is ended and fails. A sweep
// or a vacuum of millions of rows needs minutes.
inline constexpr std::chrono::minutes kStatementBound{10};

// Which rows of a SELECT are wanted. 0 and less: no limit, no offset.
struct Window {
  int limit = 0;
  int offset = 0;
};

// Used by one thread at a time. Memory that is out is thrown as std::bad_alloc; everything else is a false
// with its text.
class DatabaseEngine {
 public:
  DatabaseEngine() = default;
  DatabaseEngine(const DatabaseEngine&) = delete;
  DatabaseEngine& operator=(const DatabaseEngine&) = delete;
  virtual ~DatabaseEngine() = default;

  // KAVODB_TYPE_*.
  [[nodiscard]] virtual int type() const = 0;

  // Runs the statements of SQL in order up to the first that fails. RESULT, empty before, receives the rows
  // and the number of changed rows of the last one; after a failure it means nothing and ERROR has the
  // reason.
  [[nodiscard]] virtual bool Execute(const char* sql, Window window, ResultSet& result,
                                     std::string& error) = 0;
};

#endif  // PLATFORM_LINUX_DB_ENGINE_H_
