// Prepared statements of one session that lives long enough to need them again.
#ifndef PLATFORM_LINUX_DB_POSTGRES_STATEMENTS_H_
#define PLATFORM_LINUX_DB_POSTGRES_STATEMENTS_H_

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct PostgresStatement {
  std::string name;  // on the server
  bool prepared = false;
  bool usable = true;
};

// One use of a statement.
struct PostgresCall {
  PostgresStatement* statement = nullptr;
  std::string_view text;  // with $1, $2, ... in the places of the values
  std::vector<std::string> values;
};

// Used by the connection's thread.
class PostgresStatements {
 public:
  // SQL as a kept statement with its values, which lives until the next Clear. Nothing where SQL is none that
  // means the same with parameters, was refused in that form, or would be one too many.
  std::optional<PostgresCall> Find(std::string_view sql);
  // The session is over, and its statements with it.
  void Clear() { kept_.clear(); }

 private:
  std::unordered_map<std::string, PostgresStatement> kept_;
};

#endif  // PLATFORM_LINUX_DB_POSTGRES_STATEMENTS_H_
