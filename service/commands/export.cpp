#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "commands/command.h"
#include "commands/opened_library.h"
#include "error_text.h"
#include "library_export.h"

namespace {

int Export(const LibraryOptions& options, bool with_ids) {
  auto opened = OpenLibrary(options);
  if (!opened) return ReportFailure(opened.failure());
  int error = 0;
  const auto write = [&error](const std::string& line) {
    const bool written =
        std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fputc('\n', stdout) != EOF;
    if (!written) error = errno;
    return written;
  };
  const auto complete = ExportLibrary(opened->database, with_ids, write);
  if (!complete) return ReportFailure(complete.failure());
  if (!*complete) return ReportFailure({ExitStatus::kFatal, "standard output: " + ErrorText(error)});
  return PrintResult("", ExitStatus::kDone);
}

}  // namespace

Runner DefineExport(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  const auto with_ids = std::make_shared<bool>(false);
  app.add_flag("--with-ids", *with_ids, "Ids and the times when rights were given, too");
  return [options, with_ids] { return Export(*options, *with_ids); };
}
