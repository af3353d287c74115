// What a program and all that it starts do to the file system, as strace tells it.
#ifndef TESTS_SUPPORT_SYSTEM_CALL_TRACE_H_
#define TESTS_SUPPORT_SYSTEM_CALL_TRACE_H_

#include <filesystem>
#include <string>
#include <vector>

// One call that succeeded and that opened or changed a name.
struct FileCall {
  std::filesystem::path path;  // where it acted, links on the way resolved
  bool changes = false;        // it made, wrote, renamed, removed, or gave another mode, owner or time
  std::string line;            // as strace wrote it
};

// The reason why nothing can be traced here, else "".
std::string CannotTrace();

// The program that is run in the place of the traced one, and the arguments to be put before its own. One
// that goes on for five minutes is ended, with the status kOverdue.
inline constexpr const char* kTracer = "/usr/bin/timeout";
inline constexpr int kOverdue = 124;
std::vector<std::string> TracerArguments(const std::filesystem::path& trace);

// What the files that begin with TRACE hold, in no order; they are removed. Paths are resolved as the folders
// are now.
std::vector<FileCall> TakeFileCalls(const std::filesystem::path& trace);

#endif  // TESTS_SUPPORT_SYSTEM_CALL_TRACE_H_
