#include "commands/command.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>

#include "display.h"
#include "error_text.h"
#include "report.h"

void AddRootOption(CLI::App& app, std::string& root) {
  app.add_option("--root", root,
                 "State folder; default $XDG_STATE_HOME/lumivault or ~/.local/state/lumivault")
      ->type_name("DIR");
}

void AddSharedOption(CLI::App& app, bool& shared) {
  app.add_flag("--shared", shared, "The shared tree (see lumivault init)");
}

Failure NoLibraryNamed() {
  return {ExitStatus::kUsage, "FOLDER is required, or --shared (see lumivault --help)"};
}

int ReportFailure(const Failure& failure, bool json) {
  if (json) std::printf("%s\n", JsonLine(FailureJson(failure)).c_str());
  std::fprintf(stderr, "lumivault: %s\n", failure.message.c_str());
  return static_cast<int>(failure.status);
}

int PrintResult(const std::string& text, ExitStatus status) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (std::fflush(stdout) == 0) return static_cast<int>(status);
  return ReportFailure({ExitStatus::kFatal, "standard output: " + ErrorText(errno)});
}

Failure NotIndexed(const std::string& path, const std::string& why) {
  return {ExitStatus::kFatal, Visible(path) + ": " + why};
}
