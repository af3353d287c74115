#include "commands/command.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "commands/standard_output.h"
#include "common/display.h"
#include "common/error_text.h"
#include "run/report.h"

void AddRootOption(CLI::App& app, std::string& root) {
  app.add_option("--root", root,
                 "State folder, with the settings of all libraries; default $XDG_STATE_HOME/lumivault or "
                 "~/.local/state/lumivault")
      ->type_name("DIR");
}

void AddSharedOption(CLI::App& app, bool& shared) {
  app.add_flag("--shared", shared, "Work on the shared tree (see lumivault init --help)");
}

Failure NoLibraryNamed() {
  return {ExitStatus::kUsage, "FOLDER is required, or --shared (see lumivault --help)"};
}

int ReportFailure(const Failure& failure, bool json) {
  std::fprintf(stderr, "lumivault: %s\n", OnOneLine(failure.message).c_str());
  return json ? PrintResult(JsonLine(FailureJson(failure)) + "\n", failure.status)
              : static_cast<int>(failure.status);
}

int PrintResult(const std::string& text, ExitStatus status) {
  const int error = WriteOut(text);
  return error == 0 ? static_cast<int>(status) : ReportUnwritten(error, status);
}

int ReportUnwritten(int error, ExitStatus status) {
  const bool well = status == ExitStatus::kDone || status == ExitStatus::kSomeFailed;
  return ReportFailure({well ? ExitStatus::kFatal : status, "standard output: " + ErrorText(error)});
}

Failure NotIndexed(const std::string& path, const std::string& why) {
  return {ExitStatus::kFatal, AboutFile(path, why)};
}
