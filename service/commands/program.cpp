#include "commands/program.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "commands/command.h"
#include "common/display.h"
#include "common/exit_status.h"

namespace {

struct Command {
  const char* name;
  const char* help;
  Runner (*define)(CLI::App& app);
};

constexpr std::array kCommands{
    Command{"init", "Set up a tree that several people share, with its PostgreSQL database", &DefineInit},
    Command{"index", "Index a folder of photos and videos into the database inside it", &DefineIndex},
    Command{"reindex", "Read every file of a library again and delete the rows of files that are not there",
            &DefineReindex},
    Command{"show", "Show the row of one file, with its labels, people and album", &DefineShow},
    Command{"ls", "List what is indexed directly in a folder", &DefineList},
    Command{"albums", "List the albums of a library", &DefineAlbums},
    Command{"labels", "List the labels of a library: people, places and keywords", &DefineLabels},
    Command{"stats", "Count the photos, videos, albums and labels of a library", &DefineStats},
    Command{"export", "Print every row of a library as JSON, one object a line, to compare two libraries",
            &DefineExport},
    Command{"rights", "Show who may see, upload to and manage an album", &DefineRights},
    Command{"doctor", "Report what is missing or wrong, and how to fix it", &DefineDoctor},
};

// The table of README.md; a test compares them.
constexpr const char* kExitStatuses =
    "Exit status:\n"
    "  0 done\n"
    "  1 fatal error, or the result could not be written; for commands that only read, also: no such row or "
    "library\n"
    "  2 wrong command line\n"
    "  3 done, but some files failed that had not failed before\n"
    "  4 bad configuration: state folder, plug-in or a tool is missing or unusable\n"
    "  5 the database cannot be reached, or it failed\n"
    "  6 another run holds the library, be it one with another --root, or keeps the state folder for ten "
    "seconds; or somebody else keeps the library's folder locked\n"
    "  7 rows of files that may only be out of reach were kept; --accept-loss deletes them\n"
    "  129, 130, 143 stopped by SIGHUP, SIGINT (Ctrl-C) or SIGTERM; everything so far is kept";

// What is wrong with the command line, in one line. The parser misses a command before it looks at what
// stands in its place.
std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
  constexpr const char* kHint = " (see lumivault --help)";
  const std::vector<std::string> unknown = app.remaining();
  const bool has_command = !app.get_subcommands().empty();
  if (!has_command && unknown.empty()) return std::string("a command is missing") + kHint;
  const bool option = !unknown.empty() && unknown.front().starts_with('-');
  if (unknown.empty() || (has_command && !option)) return std::string(error.what()) + kHint;
  const std::string what = (option ? "unknown option " : "unknown command ") + Visible(unknown.front());
  return what + (has_command ? "; the options of a command come after it" : "") + kHint;
}

int Run(int argc, char** argv) {
  CLI::App app("Lumivault: indexes the photos and videos of a folder in a database");
  app.set_version_flag("--version", "lumivault " LUMIVAULT_VERSION);
  app.require_subcommand(1);
  app.footer(kExitStatuses);
  Runner runner;
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.help);
    sub->footer(kExitStatuses);
    sub->final_callback([&runner, run = command.define(*sub)] { runner = run; });
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
      return ReportFailure({ExitStatus::kUsage, UsageText(app, error)});
    std::ostringstream asked_for;  // help or version
    app.exit(error, asked_for, asked_for);
    return PrintResult(asked_for.str(), ExitStatus::kDone);
  }
  return runner();
}

}  // namespace

int RunProgram(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    return ReportFailure({ExitStatus::kFatal, error.what()});
  }
}
