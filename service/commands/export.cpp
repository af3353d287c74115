#include <signal.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "commands/command.h"
#include "commands/opened_library.h"
#include "error_text.h"
#include "library_export.h"

namespace {

// 0, or the error that kept LINE from standard output.
int WriteLine(const std::string& line) {
  const bool written =
      std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fputc('\n', stdout) != EOF;
  return written ? 0 : errno;
}

// The database is closed when this returns.
Outcome<int> WriteLibrary(const LibraryOptions& options, bool with_ids) {
  auto opened = OpenLibrary(options);
  if (!opened) return opened.failure();
  int error = 0;
  const auto write = [&](const std::string& line) {
    error = WriteLine(line);
    return error == 0 && !opened->Stopped();
  };
  const auto complete = ExportLibrary(opened->database, with_ids, write);
  if (!complete) return complete.failure();
  return error;
}

int Export(const LibraryOptions& options, bool with_ids) {
  const auto at_start = signal(SIGPIPE, SIG_IGN);
  const auto error = WriteLibrary(options, with_ids);
  // A reader that has seen enough ends the process as ever, but not before the database is closed.
  signal(SIGPIPE, at_start);
  if (!error) return ReportFailure(error.failure());
  if (*error == EPIPE) raise(SIGPIPE);
  if (*error != 0) return ReportFailure({ExitStatus::kFatal, "standard output: " + ErrorText(*error)});
  return PrintResult("", ExitStatus::kDone);
}

}  // namespace

Runner DefineExport(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  const auto with_ids = std::make_shared<bool>(false);
  app.add_flag("--with-ids", *with_ids, "Ids and the times when rights were given, too");
  return [options, with_ids] { return Export(*options, *with_ids); };
}
