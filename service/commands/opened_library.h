// What the commands that only read a library share.
#ifndef SERVICE_COMMANDS_OPENED_LIBRARY_H_
#define SERVICE_COMMANDS_OPENED_LIBRARY_H_

#include <memory>
#include <string>

#include "common/outcome.h"
#include "common/stop_signals.h"
#include "database/database_reader.h"
#include "library/library.h"

namespace CLI {
class App;
}

// A library open for reading. Used by the thread of the command, which has the signals held back.
struct OpenedLibrary {
  // Held back until a library's database is closed, so that nothing of it stays in the folder; then they end
  // the process as ever.
  std::unique_ptr<StopSignals> signals;
  Library library;
  std::string path;  // what was asked for, absolute
  DatabaseReader database;

  // A signal waits for the end of the reading.
  bool Stopped() const { return signals && signals->Pending(); }
  // What was asked for, below the library; "" for the library itself.
  std::string key() const { return library.Below(path); }
};

// Nothing was ever indexed around PATH, or it is not there.
Failure InNoLibrary(const std::string& path, ExitStatus status);

// The library that the absolute PATH lies in (or is), for a state folder named ROOT.
Outcome<OpenedLibrary> OpenLibraryAround(const std::string& root, const std::string& path);
// The shared tree; FOLDER may be empty and has to be its folder otherwise.
Outcome<OpenedLibrary> OpenSharedTree(const std::string& root, const std::string& folder);

// The absolute path of FOLDER. One that is gone still has its rows under the path it had.
std::string FolderPath(const std::string& folder);

// The command line of a command that reads one library.
struct LibraryOptions {
  std::string folder;
  bool shared = false;
  std::string root;
  bool json = false;
};
// WHAT the folder is.
std::shared_ptr<LibraryOptions> AddLibraryOptions(CLI::App& app,
                                                  const std::string& what = "Folder of the library");
// The library that they name.
Outcome<OpenedLibrary> OpenLibrary(const LibraryOptions& options);
// The option --read-timeout of commands that read a library.
void AddReadTimeoutOption(CLI::App& app);
// Its option --json; WHAT is printed then.
void AddJsonOption(CLI::App& app, LibraryOptions& options, const std::string& what);

#endif  // SERVICE_COMMANDS_OPENED_LIBRARY_H_
