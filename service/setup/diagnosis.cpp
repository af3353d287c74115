#include "setup/diagnosis.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <unordered_set>

#include "base/fixed_path.h"
#include "changes/catalogue_generation.h"
#include "changes/catalogue_sql.h"
#include "changes/library_catalogue.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/installation.h"
#include "database/database_reader.h"
#include "database/database_schema.h"
#include "database/library_facts.h"
#include "database/library_tables.h"
#include "database/queries_sql.h"
#include "database/schema_sql.h"
#include "platform/files.h"
#include "setup/shared_tree.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kRunMakesIt = "run: lumivault index, or lumivault init --shared; both make it";
constexpr const char* kNoSuchFile = "No such file or directory";
constexpr const char* kWhole = "ok";
// So begins what is wrong with the file as such, in SQLite's words.
constexpr const char* kDamageOfFile = "*** in database";

void Add(Findings& findings, std::string subject, std::string problem, std::string remedy,
         ExitStatus status = ExitStatus::kConfiguration) {
  findings.push_back({std::move(subject), std::move(problem), std::move(remedy), status});
}

bool IsMissing(const std::string& path) {
  return access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

std::string InitCommand(const Library& tree) {
  return "run: lumivault init --shared " + Visible(tree.folder);
}

// --- The installation.

void ExamineSettings(const StateRoot& root, Findings& findings) {
  const std::string settings = root.Place(kPackageSettings);
  if (IsMissing(settings)) return Add(findings, settings, kNoSuchFile, kRunMakesIt);
  if (access(settings.c_str(), R_OK) != 0)
    return Add(findings, settings, ErrorText(errno), "make it readable for this user");
  if (RLIBCFileCheckKeyValue(settings.c_str(), kPersonalSetting, "yes", 0) == 0) {
    Add(findings, settings, std::string(kPersonalSetting) + " is not \"yes\", so personal libraries are off",
        std::string("set ") + kPersonalSetting + "=\"yes\" in it");
  }
}

void ExamineTools(Findings& findings) {
  if (!OpenWorkerProgram())
    Add(findings, "lumivault-worker", "not found beside the program", "install Lumivault again");
  if (const auto plugin = PluginPath(); !plugin) {
    Add(findings, "libphotoindex.so", plugin.failure().message, "set LUMIVAULT_PLUGIN to its path");
  } else if (access(plugin->c_str(), R_OK) != 0) {
    Add(findings, *plugin, ErrorText(errno), "set LUMIVAULT_PLUGIN to the path of libphotoindex.so");
  }
}

// --- Databases.

struct Remedies {
  std::string tables;
  std::string keys;
};

void ExamineSchema(DatabaseReader& database, const std::string& subject, const std::string& script,
                   const Remedies& remedies, Findings& findings) {
  const std::string& remedy = remedies.tables;
  const auto gaps = FindSchemaGaps(database);
  if (!gaps) return Add(findings, subject, gaps.failure().message, remedy, ExitStatus::kDatabase);
  for (const SchemaGap& gap : *gaps) {
    if (!gap.key.empty()) {
      Add(findings, subject, "too old: the key " + gap.key + " is missing", remedies.keys,
          ExitStatus::kDatabase);
      continue;
    }
    if (gap.column.empty()) {
      Add(findings, subject, "the table " + gap.table + " is missing", remedy, ExitStatus::kDatabase);
      continue;
    }
    const auto sql = AddColumnStatement(database, script, gap);
    const bool by_hand = !database.on_server() && sql;
    Add(findings, subject, "too old: the column " + gap.table + "." + gap.column + " is missing",
        by_hand ? "run in it: " + *sql : remedy, ExitStatus::kDatabase);
  }
}

void ExamineServer(DatabaseReader& database, const std::string& subject, Findings& findings) {
  const auto facts = database.Query({"encoding", "read_only"}, kServerFactsSql);
  if (!facts || facts->empty()) {
    return Add(findings, subject, database.error(), "see the server's log", ExitStatus::kDatabase);
  }
  if (facts->front()[0] != "UTF8") {
    Add(findings, subject, "its encoding is " + facts->front()[0].value_or("unknown") + ", not UTF8",
        "make it anew with ENCODING 'UTF8' and load its rows from a dump", ExitStatus::kDatabase);
  }
  if (facts->front()[1] == "on") {
    Add(findings, subject, "the server only reads, as a standby does",
        "name the primary server (PGHOST), or several with target_session_attrs=read-write",
        ExitStatus::kDatabase);
  }
}

void ExamineSharedDatabase(const Library& tree, Findings& findings) {
  const std::string subject = "database " + tree.database();
  DatabaseReader database = DatabaseReader::OpenForReading(tree);
  if (!database) {
    DatabaseReader server = DatabaseReader::OpenOnServer(kMaintenanceDatabase);
    if (!server) {
      return Add(findings, "PostgreSQL server", database.error(),
                 "start it, or name another one in PGHOST, PGPORT or PGSERVICE", ExitStatus::kDatabase);
    }
    const std::string remedy = server.HasDatabase(tree.database())
                                   ? std::string("let the user ") + kSharedUser + " connect to it"
                                   : InitCommand(tree);
    return Add(findings, subject, database.error(), remedy, ExitStatus::kDatabase);
  }
  ExamineServer(database, subject, findings);
  const auto script = SharedSchema();
  if (!script) return Add(findings, "photo.sql", script.failure().message, "install Lumivault again");
  ExamineSchema(database, subject, *script, {InitCommand(tree), InitCommand(tree)}, findings);
}

// A database whose schema does more than hold data: what is foreign in it, and behind that what to do.
std::optional<Finding> ForeignSchema(const DatabaseReader& database, const std::string& file) {
  constexpr std::string_view kForeign = "Its schema is not ours: ";
  constexpr std::string_view kEnd = ". ";
  const std::string error = database.error();
  const std::size_t end = error.starts_with(kForeign) ? error.rfind(kEnd) : std::string::npos;
  if (end == std::string::npos) return std::nullopt;
  return Finding{file, error.substr(0, end + 1), error.substr(end + kEnd.size()), ExitStatus::kDatabase};
}

// What is wrong with DATABASE, "" where nothing is: with tables of other programs there may be what they
// like. Nothing where it cannot be told.
std::optional<std::string> DamageOf(DatabaseReader& database) {
  const auto whole = database.Query({"quick_check"}, kQuickCheckSql);
  if (!whole) return std::nullopt;
  const std::string first = whole->empty() ? kWhole : whole->front()[0].value_or("");
  if (first == kWhole) return "";
  if (first.starts_with(kDamageOfFile)) return first;
  for (const LibraryTable& table : LibraryTables()) {
    const auto damage = database.Query({"quick_check"}, kQuickCheckOfTableSql, std::string(table.name));
    if (damage && !damage->empty() && damage->front()[0] != kWhole) return damage->front()[0].value_or("");
  }
  return "";
}

void ExamineFile(DatabaseReader& database, const std::string& file, Findings& findings) {
  const std::string remedy = "keep a copy of it, delete it and run: lumivault index " +
                             Visible(fs::path(file).parent_path().string()) +
                             "; people and comments given by hand are in the copy alone";
  const auto damage = DamageOf(database);
  if (const auto foreign = damage ? std::nullopt : ForeignSchema(database, file))
    return static_cast<void>(findings.push_back(*foreign));
  if (!damage) return Add(findings, file, "damaged: " + database.error(), remedy, ExitStatus::kDatabase);
  if (!damage->empty()) Add(findings, file, "damaged: " + Visible(*damage), remedy, ExitStatus::kDatabase);
}

// FILE lies beside the database and is somebody's who may have committed rows there, or another file of his
// that was renamed.
std::string RemedyOfSideFile(const Library& library, const std::string& file) {
  const std::string now = "while nothing else uses the library, run: ";
  struct stat status {};
  if (lstat(file.c_str(), &status) == 0 && status.st_size == 0) return now + "rm " + Visible(file);
  return "user " + std::to_string(status.st_uid) +
         " may have added to the library through it: let that user run lumivault ls " +
         Visible(library.folder) + "; or else, " + now + "mv " + Visible(file) + " " +
         Visible(file + ".kept");
}

// What is wrong with it may be somebody's file beside it.
std::string RemedyOfUnopened(const Library& library, const std::string& error) {
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {
    const std::string name = std::string(kDatabaseName) + suffix;
    if (error.starts_with(name + " belongs to somebody") || error.starts_with(name + " is more private"))
      return RemedyOfSideFile(library, library.database() + suffix);
  }
  return "make it a regular file that this user may read, with nothing of others beside it";
}

void ExaminePersonalDatabase(const Library& library, Findings& findings) {
  const std::string file = library.database();
  const std::string index = "run: lumivault index " + Visible(library.folder);
  if (IsMissing(file)) return Add(findings, Visible(file), kNoSuchFile, index, ExitStatus::kDatabase);
  DatabaseReader database = DatabaseReader::OpenForReading(library);
  if (const auto foreign = database ? std::nullopt : ForeignSchema(database, Visible(file)))
    return static_cast<void>(findings.push_back(*foreign));
  if (!database) {
    return Add(findings, Visible(file), database.error(), RemedyOfUnopened(library, database.error()),
               ExitStatus::kDatabase);
  }
  const std::size_t before = findings.size();
  ExamineFile(database, Visible(file), findings);
  if (findings.size() > before) return;
  const auto path = SchemaPath(kPersonalScript);
  // A run that finds nothing changed does not write, so it makes no key.
  const std::string reindex = "run: lumivault reindex " + Visible(library.folder);
  ExamineSchema(database, Visible(file), path ? ReadWholeFile(*path).value_or("") : "", {index, reindex},
                findings);
}

// --- What runs have noted.

std::string OnlyValue(const std::optional<std::vector<DatabaseReader::Row>>& rows) {
  return rows && !rows->empty() ? rows->front().front().value_or("") : "";
}

// Other files have rows too, so a count says little.
void ExamineRows(DatabaseReader& catalogue, DatabaseReader& database, const Library& library,
                 const std::string& subject, const std::string& reindex, Findings& findings) {
  std::unordered_set<std::string> keys;
  for (const char* sql : {kIndexedPhotos, kIndexedVideos}) {
    const auto rows = database.Query({"path"}, sql);
    if (!rows) return;
    for (const DatabaseReader::Row& row : *rows) keys.insert(row.front().value_or(""));
  }
  const auto noted = catalogue.Query({"path"}, kFilesWithRows);
  if (!noted) return;
  const auto missing = std::count_if(noted->begin(), noted->end(), [&](const DatabaseReader::Row& row) {
    return !keys.contains(library.FileKey(row.front().value_or("")));
  });
  if (missing == 0) return;
  Add(findings, subject, std::to_string(missing) + " files that were indexed have no row", reindex,
      ExitStatus::kDatabase);
}

void ExamineCatalogue(const StateRoot& root, const Library& library, Findings& findings) {
  const std::string file = CatalogueFile(root, library);
  DatabaseReader catalogue = DatabaseReader::OpenForReading(file);
  DatabaseReader database = DatabaseReader::OpenForReading(library);
  if (!catalogue || !database) return;
  const auto facts = ReadFacts(database);
  if (!facts) return;
  const std::string subject =
      library.shared() ? "database " + library.database() : Visible(library.database());
  const std::string of_library = library.shared() ? " --shared" : " " + Visible(library.folder);
  const NotedGenerations noted = ReadNotedGenerations(
      [&](const char* name) { return OnlyValue(catalogue.Query({"value"}, kFact, std::string(name))); });
  switch (StandingOf(noted, *facts)) {
    case CatalogueStanding::kInStep:
      return ExamineRows(catalogue, database, library, subject, "run: lumivault reindex" + of_library,
                         findings);
    case CatalogueStanding::kBehind:
      return;
    case CatalogueStanding::kUnrelated:
      return Add(
          findings, subject,
          "it is not as the last run has left it: an older copy was put back, or runs with another state "
          "folder have written",
          "run: lumivault index" + of_library, ExitStatus::kDatabase);
  }
}

// --- Folders.

void ExamineFolder(const Library& library, Findings& findings) {
  const std::string folder = Visible(library.folder);
  if (RLIBCFileCheckDir(library.folder.c_str()) != 1) {
    const std::string problem = IsMissing(library.folder) ? kNoSuchFile : "not a folder, or out of reach";
    return Add(findings, folder, problem,
               library.shared() ? "mount or make it, or remove the link var/services/photo in the state "
                                  "folder and choose another with lumivault init --shared"
                                : "mount or make it");
  }
  if (access(library.folder.c_str(), R_OK | X_OK) != 0)
    return Add(findings, folder, "cannot be read: " + ErrorText(errno), "let this user read and enter it");
  if (!library.shared() && access(library.folder.c_str(), W_OK) != 0) {
    Add(findings, folder, "cannot be written, and the database is in it: " + ErrorText(errno),
        "let this user write to it");
  }
}

void ExaminePersonalSwitch(const StateRoot& root, const Library& library, Findings& findings) {
  const std::string file = root.Place(library.PreferenceFile());
  if (IsMissing(file))
    return Add(findings, file, kNoSuchFile, "run: lumivault index " + Visible(library.folder));
  if (RLIBCFileCheckKeyValue(file.c_str(), kPersonalSetting, "yes", 0) != 0) return;
  Add(findings, file, std::string(kPersonalSetting) + " is not \"yes\"",
      std::string("set ") + kPersonalSetting + "=\"yes\" in it");
}

}  // namespace

Findings ExamineInstallation(const StateRoot& root) {
  Findings findings;
  if (IsMissing(root.path())) {
    Add(findings, Visible(root.path()), "the state folder is not there", kRunMakesIt);
    return findings;
  }
  if (access(root.path().c_str(), R_OK | W_OK | X_OK) != 0)
    Add(findings, Visible(root.path()), "the state folder: " + ErrorText(errno), "make it this user's own");
  const std::string marker = root.Place(kPackageMarker);
  if (access(marker.c_str(), F_OK) != 0)
    Add(findings, marker, "the package marker: " + ErrorText(errno), kRunMakesIt);
  ExamineSettings(root, findings);
  ExamineTools(findings);
  return findings;
}

LibraryExamination ExamineLibrary(const StateRoot& root, const Library& library) {
  LibraryExamination result;
  Findings& findings = result.findings;
  ExamineFolder(library, findings);
  if (library.shared()) {
    ExamineSharedDatabase(library, findings);
  } else {
    ExaminePersonalSwitch(root, library, findings);
    ExaminePersonalDatabase(library, findings);
  }
  if (!findings.empty() || IsMissing(CatalogueFile(root, library))) return result;
  // A run that goes on has not noted yet what it has done.
  result.held = IsHeld(library);
  if (!result.held) ExamineCatalogue(root, library, findings);
  return result;
}
