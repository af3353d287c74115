#include "commands/opened_library.h"

#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>

#include "base/read_timeout.h"
#include "commands/command.h"
#include "commands/number_check.h"
#include "common/display.h"
#include "common/error_text.h"
#include "library/state_root.h"

namespace {

constexpr double kDefaultReadTimeout = 30;
constexpr double kShortestReadTimeout = 0.001;
constexpr double kLongestReadTimeout = 600;  // no statement takes longer
constexpr double kMillisecondsOfSecond = 1000;

void SetReadTimeout(double seconds, bool replace) {
  const std::string limit = std::to_string(std::lround(seconds * kMillisecondsOfSecond));
  setenv(kReadTimeout, limit.c_str(), replace ? 1 : 0);
}

Failure NoDatabase(const Library& library, const DatabaseReader& database) {
  const std::string file = library.database();
  if (library.shared()) return {ExitStatus::kDatabase, "the database " + file + ": " + database.error()};
  const int error = access(file.c_str(), R_OK) == 0 ? 0 : errno;
  if (error == ENOENT) return NotIndexed(library.folder, "the library has no database");
  return {ExitStatus::kDatabase,
          AboutFile(file, "cannot be opened: " + (error != 0 ? ErrorText(error) : database.error()))};
}

Outcome<OpenedLibrary> OpenDatabaseOf(const Library& library, const std::string& path) {
  SetReadTimeout(kDefaultReadTimeout, false);
  auto signals = library.shared() ? nullptr : std::make_unique<StopSignals>();
  DatabaseReader database = DatabaseReader::OpenForReading(library);
  if (!database) return NoDatabase(library, database);
  if (library.shared() && !database.HasSchema()) return WithoutTables(library);
  return OpenedLibrary{std::move(signals), library, path, std::move(database)};
}

}  // namespace

Failure InNoLibrary(const std::string& path, ExitStatus status) {
  if (!OwnerIsKnown(path)) {
    return {
        ExitStatus::kConfiguration,
        AboutFile(path,
                  "the list of libraries (etc/kavo/personal.conf in the state folder) or a home cannot be "
                  "read, so it cannot be told in whose library this lies")};
  }
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return {status, AboutFile(path, ErrorText(ENOENT))};
  return {status, AboutFile(path, "lies in no library; lumivault index makes one of a folder")};
}

Outcome<OpenedLibrary> OpenLibraryAround(const std::string& root, const std::string& path) {
  const auto located = StateRoot::Locate(root);
  if (!located) return located.failure();
  const auto library = FindLibrary(path);
  if (!library) return InNoLibrary(path, ExitStatus::kFatal);
  return OpenDatabaseOf(*library, path);
}

Outcome<OpenedLibrary> OpenSharedTree(const std::string& root, const std::string& folder) {
  const auto located = StateRoot::Locate(root);
  if (!located) return located.failure();
  const auto tree = RequireSharedTree(folder);
  if (!tree) return tree.failure();
  return OpenDatabaseOf(*tree, tree->folder);
}

Outcome<OpenedLibrary> OpenLibrary(const LibraryOptions& options) {
  if (options.shared) return OpenSharedTree(options.root, options.folder);
  if (options.folder.empty()) return NoLibraryNamed();
  auto opened = OpenLibraryAround(options.root, FolderPath(options.folder));
  if (opened && !opened->key().empty()) {
    return NotIndexed(opened->path,
                      "lies in the library " + Visible(opened->library.folder) + ", but is none");
  }
  return opened;
}

std::string FolderPath(const std::string& folder) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(folder.c_str(), nullptr), &free);
  return real ? real.get() : KeyPath(folder);
}

std::shared_ptr<LibraryOptions> AddLibraryOptions(CLI::App& app, const std::string& what) {
  auto options = std::make_shared<LibraryOptions>();
  app.add_option("folder", options->folder, what)->type_name("FOLDER");
  AddSharedOption(app, options->shared);
  AddRootOption(app, options->root);
  AddReadTimeoutOption(app);
  return options;
}

void AddReadTimeoutOption(CLI::App& app) {
  app.add_option_function<double>(
         "--read-timeout", [](double seconds) { SetReadTimeout(seconds, true); },
         "How long one question to the database may take, in seconds; default 30")
      ->type_name("SECONDS")
      ->check(NumberFrom(kShortestReadTimeout, kLongestReadTimeout));
}

void AddJsonOption(CLI::App& app, LibraryOptions& options, const std::string& what) {
  app.add_flag("--json", options.json, what);
}
