#ifndef SERVICE_COMMANDS_PRINT_FOUND_H_
#define SERVICE_COMMANDS_PRINT_FOUND_H_

#include <unistd.h>

#include "commands/command.h"
#include "common/display.h"

// Prints what a command FOUND, or why it found nothing: one line of TO_JSON(found) for a command that was
// asked for JSON, else TO_TEXT(found, whether that is for a terminal). The exit status.
template <typename T, typename JsonForm, typename TextForm>
int PrintFound(const Outcome<T>& found, bool json, const JsonForm& to_json, const TextForm& to_text) {
  if (!found) return ReportFailure(found.failure(), json);
  const bool terminal = isatty(STDOUT_FILENO) != 0;
  return PrintResult(json ? JsonLine(to_json(*found)) + "\n" : to_text(*found, terminal), ExitStatus::kDone);
}

#endif  // SERVICE_COMMANDS_PRINT_FOUND_H_
