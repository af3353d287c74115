#include <CLI/CLI.hpp>
#include <memory>

#include "answers/library_export.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/standard_output.h"

namespace {

// The database is closed when this returns.
Outcome<Done> WriteLibrary(const LibraryOptions& options, bool with_ids) {
  auto opened = OpenLibrary(options);
  if (!opened) return opened.failure();
  const auto write = [&](const std::string& line) {
    return Write(line + "\n", opened->signals.get()) == 0 && !opened->Stopped();
  };
  const auto complete = ExportLibrary(opened->database, with_ids, write);
  if (!complete) return complete.failure();
  return Done{};
}

int Export(const LibraryOptions& options, bool with_ids) {
  const auto written = WriteLibrary(options, with_ids);
  if (!written) return ReportFailure(written.failure());
  return PrintResult("", ExitStatus::kDone);
}

}  // namespace

Runner DefineExport(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  const auto with_ids = std::make_shared<bool>(false);
  app.add_flag(
      "--with-ids", *with_ids,
      "Also print ids, which are otherwise replaced by the names they refer to, and the times when rights "
      "were given");
  return [options, with_ids] { return Export(*options, *with_ids); };
}
