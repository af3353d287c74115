// The shell's command that makes a personal database from its schema script, without a shell and a tool.
#ifndef PLATFORM_LINUX_PROCESS_SCHEMA_TOOL_H_
#define PLATFORM_LINUX_PROCESS_SCHEMA_TOOL_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "process/spawn.h"

inline constexpr const char* kShellProgram = "/bin/sh";
inline constexpr const char* kDatabaseToolProgram = "/usr/kavo/bin/sqlite3";

struct SchemaCommand {
  std::string tool;
  std::string database;
  std::string script;
};

// What ARGUMENTS, the whole vector of a call of the shell, ask for:
//   /bin/sh -c '<tool> "<database>" < <script>'
// with names in double quotes, or bare where no character of theirs means anything to the shell. Nothing for
// any other call.
[[nodiscard]] std::optional<SchemaCommand> UnderstandSchemaCommand(const std::vector<std::string>& arguments);

// Makes the database complete or not at all (db/sqlite_creation.h); one that is there already stays as it is.
// Exit status 0, 2 when the script cannot be read, 1 when the database cannot be made; the reason is noted as
// the last error. Prints nothing, throws nothing.
[[nodiscard]] std::optional<SpawnResult> AnswerSchemaCommand(const SchemaCommand& command) noexcept;

#endif  // PLATFORM_LINUX_PROCESS_SCHEMA_TOOL_H_
