// The sub-commands. Each adds its options to its part of the command line and gives the function that runs
// it; that function returns the exit status.
#ifndef SERVICE_COMMANDS_COMMAND_H_
#define SERVICE_COMMANDS_COMMAND_H_

#include <functional>
#include <string>

#include "common/exit_status.h"
#include "common/outcome.h"

namespace CLI {
class App;
}

using Runner = std::function<int()>;

Runner DefineInit(CLI::App& app);
Runner DefineIndex(CLI::App& app);
Runner DefineReindex(CLI::App& app);
Runner DefineWatch(CLI::App& app);
Runner DefineConfig(CLI::App& app);
Runner DefineShow(CLI::App& app);
Runner DefineList(CLI::App& app);
Runner DefineAlbums(CLI::App& app);
Runner DefineLabels(CLI::App& app);
Runner DefineStats(CLI::App& app);
Runner DefineExport(CLI::App& app);
Runner DefineRights(CLI::App& app);
Runner DefineDoctor(CLI::App& app);

// The option --root, which every command has.
void AddRootOption(CLI::App& app, std::string& root);

// The option --shared, of the commands that work on a library.
void AddSharedOption(CLI::App& app, bool& shared);
// Neither a folder nor --shared was given.
Failure NoLibraryNamed();

// Prints the one line about FAILURE on standard error, and for a command that was asked for JSON its object
// {error, status} on standard output; its exit status.
int ReportFailure(const Failure& failure, bool json = false);
// Prints TEXT on standard output; STATUS, or where it could not be written that of ReportUnwritten.
int PrintResult(const std::string& text, ExitStatus status);
// Prints the line about the ERROR of standard output; STATUS, or kFatal for one that says that the work was
// done.
int ReportUnwritten(int error, ExitStatus status);
// A file or folder that no library knows.
Failure NotIndexed(const std::string& path, const std::string& why);

#endif  // SERVICE_COMMANDS_COMMAND_H_
