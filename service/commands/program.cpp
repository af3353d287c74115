#include "commands/program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/settings.h"
#include "common/display.h"
#include "common/exit_status.h"

namespace {

// What a command does, for the exit statuses that it can end with.
enum Doing : unsigned {
  kReads = 1,
  kRuns = 2,
  kMakes = 4,
  kExamines = 8,
  kWatches = 16,
  kConfigures = 32,
  kAll = 63
};

struct Command {
  const char* name;
  const char* help;
  Runner (*define)(CLI::App& app);
  Doing doing;
};

constexpr std::array kCommands{
    Command{"init", "Set up a tree that several people share, with its PostgreSQL database", &DefineInit,
            kMakes},
    Command{"index", "Index a folder of photos and videos into the database inside it", &DefineIndex, kRuns},
    Command{"reindex", "Read every file of a library again and delete the rows of files that are not there",
            &DefineReindex, kRuns},
    Command{"watch", "Keep the databases of folders true while their files change, until it is stopped",
            &DefineWatch, kWatches},
    Command{"show", "Show the row of one file, with its labels, people and album", &DefineShow, kReads},
    Command{"ls", "List what is indexed directly in a folder", &DefineList, kReads},
    Command{"albums", "List the albums of a library", &DefineAlbums, kReads},
    Command{"labels", "List the labels of a library: people, places and keywords", &DefineLabels, kReads},
    Command{"stats", "Count the photos, videos, albums and labels of a library", &DefineStats, kReads},
    Command{"export", "Print every row of a library as JSON, one object a line, to compare two libraries",
            &DefineExport, kReads},
    Command{"rights", "Show who may see, upload to and manage an album", &DefineRights, kReads},
    Command{"doctor", "Report what is missing or wrong, and how to fix it", &DefineDoctor, kExamines},
    Command{"config", "Print the settings that hold, and who says so", &DefineConfig, kConfigures},
};

struct StatusLine {
  unsigned ends;  // what it can end
  const char* text;
};

// The table of README.md; a test compares them.
constexpr std::array kExitStatuses{
    StatusLine{kAll & ~kWatches, "0 done"},
    StatusLine{
        kAll,
        "1 fatal error, or the result could not be written; for commands that only read, also: no such "
        "row or library"},
    StatusLine{kAll, "2 wrong command line, or a folder that cannot be what the command makes of it"},
    StatusLine{kRuns, "3 done, but some files failed that had not failed before"},
    StatusLine{kAll,
               "4 bad configuration: a setting is wrong, or state folder, plug-in or a tool is missing or "
               "unusable; for doctor, also: no such library"},
    StatusLine{kAll & ~(kWatches | kConfigures), "5 the database cannot be reached, or it failed"},
    StatusLine{kRuns | kMakes,
               "6 another run holds the library, be it one with another --root, or keeps the state folder "
               "for ten seconds; or somebody else keeps the library's folder locked"},
    StatusLine{kRuns, "7 rows of files that may only be out of reach were kept; --accept-loss deletes them"},
    StatusLine{kAll,
               "129, 130, 143 stopped by SIGHUP, SIGINT (Ctrl-C) or SIGTERM; everything so far is kept"},
};

// LINE in lines that fit a terminal, those after the first further in.
std::string Wrapped(std::string line) {
  constexpr std::size_t kWidth = 79;
  constexpr const char* kFirst = "  ";
  constexpr const char* kNext = "\n      ";
  std::string text = kFirst;
  for (std::size_t room = kWidth - 2; line.size() > room; room = kWidth - 6) {
    const std::size_t blank = line.rfind(' ', room);
    text += line.substr(0, blank) + kNext;
    line.erase(0, blank + 1);
  }
  return text + line + "\n";
}

std::string ExitStatuses(Doing doing) {
  std::string text = "Exit status:\n";
  for (const StatusLine& line : kExitStatuses) {
    if ((line.ends & doing) != 0) text += Wrapped(line.text);
  }
  text.pop_back();
  return text;
}

bool IsCommand(const std::string& name) {
  return std::any_of(kCommands.begin(), kCommands.end(),
                     [&](const auto& command) { return name == command.name; });
}

// "help" and "help COMMAND" are other names of --help.
std::vector<std::string> WithoutHelp(std::vector<std::string> arguments) {
  if (arguments.empty() || arguments.front() != "help") return arguments;
  arguments.erase(arguments.begin());
  const bool unknown =
      !arguments.empty() && !arguments.front().starts_with('-') && !IsCommand(arguments.front());
  if (!unknown) arguments.emplace_back("--help");
  return arguments;
}

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
  CLI::App app("Lumivault: indexes the photos and videos of a folder in a database", "lumivault");
  app.set_version_flag("--version", "lumivault " LUMIVAULT_VERSION);
  app.require_subcommand(1);
  app.footer(ExitStatuses(kAll) + "\n\nlumivault help COMMAND tells the options of one.");
  Runner runner;
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.help);
    sub->footer(ExitStatuses(command.doing));
    sub->final_callback([&runner, run = command.define(*sub)] { runner = run; });
  }
  try {
    std::vector<std::string> arguments = WithoutHelp({argv + 1, argv + std::max(argc, 1)});
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
      return ReportFailure({ExitStatus::kUsage, UsageText(app, error)});
    std::ostringstream asked_for;  // help or version
    app.exit(error, asked_for, asked_for);
    return PrintResult(asked_for.str(), ExitStatus::kDone);
  }
  CLI::App& command = *app.get_subcommands().front();
  if (auto applied = ApplySettings(command); !applied) {
    const CLI::Option* json = command.get_option_no_throw("--json");
    return ReportFailure(applied.failure(), json != nullptr && json->count() > 0);
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
