#include "setup/shared_tree.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "base/fixed_path.h"
#include "base/shared_database.h"
#include "common/display.h"
#include "common/error_text.h"
#include "database/database_reader.h"
#include "database/database_schema.h"
#include "database/queries_sql.h"
#include "database/schema_sql.h"
#include "files/open_folder.h"
#include "jobs/job_queue.h"
#include "library/library.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kServices = "/var/services";

Failure DatabaseFailure(const std::string& why) {
  return {ExitStatus::kDatabase, std::string("the database ") + kSharedDatabase + ": " + why};
}

bool HoldsNothingBut(const std::string& folder, std::string_view name) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  return !error && std::all_of(begin(entries), end(entries),
                               [name](const auto& entry) { return entry.path().filename() == name; });
}

// Without a tree the job queues of personal libraries stand where the link belongs. Nobody reads them, unless
// face recognition does.
void RemoveUnreadQueues(const StateRoot& root, const std::string& link) {
  if (FaceRecognitionTakesJobs() && ReadJobQueue(root)) return;
  std::error_code error;
  const bool folder = fs::symlink_status(link, error).type() == fs::file_type::directory;
  if (folder && HoldsNothingBut(link, kSideFolder)) fs::remove_all(link, error);
}

std::string WhyNoLink(const std::string& link, int error) {
  std::error_code unreadable;
  const bool folder = fs::symlink_status(link, unreadable).type() == fs::file_type::directory;
  if (folder && HoldsNothingBut(link, kSideFolder))
    return "background jobs wait in it, which face recognition is to take; let it take them first, or delete "
           "the folder with them";
  if (folder)
    return "is a folder with something in it; to have the link in its place, move that elsewhere first";
  return ErrorText(error);
}

Outcome<Done> MakeLink(const StateRoot& root, const std::string& folder) {
  const std::string link = root.Place(kSharedPhotoLink);
  if (auto made = root.MakeFolder(kServices); !made) return made;
  RemoveUnreadQueues(root, link);
  if (symlink(folder.c_str(), link.c_str()) == 0) return Done{};
  const int error = errno;
  std::error_code unreadable;
  const std::string target = fs::read_symlink(link, unreadable).string();
  if (target == folder) return Done{};
  const std::string why =
      target.empty() ? WhyNoLink(link, error)
                     : "leads to " + Visible(target) + "; to choose another folder, remove this link first";
  return Failure{ExitStatus::kConfiguration, AboutFile(link, why)};
}

// Makes the database on a server that has none of that name.
Outcome<Done> MakeDatabase() {
  if (DatabaseReader::OpenOnServer(kSharedDatabase)) return Done{};
  DatabaseReader server = DatabaseReader::OpenOnServer(kMaintenanceDatabase);
  if (!server) return Failure{ExitStatus::kDatabase, "the PostgreSQL server: " + server.error()};
  if (server.Run(kMakeSharedDatabaseSql)) return Done{};
  const std::string why = server.error();
  // Somebody else may just have made it; or it is there and cannot be entered.
  const DatabaseReader present = DatabaseReader::OpenOnServer(kSharedDatabase);
  if (present) return Done{};
  return DatabaseFailure(server.HasDatabase(kSharedDatabase) ? present.error() : why);
}

// Columns that came later; the script makes what is missing as a whole.
Outcome<Done> AddColumns(DatabaseReader& database, const std::string& script) {
  const auto gaps = FindSchemaGaps(database);
  if (!gaps) return gaps.failure();
  for (const SchemaGap& gap : *gaps) {
    const auto sql = AddColumnStatement(database, script, gap);
    if (sql && !database.Run(sql->c_str())) return DatabaseFailure(database.error());
  }
  return Done{};
}

Outcome<Done> PrepareDatabase() {
  const auto script = SharedSchema();
  if (!script) return script.failure();
  if (auto made = MakeDatabase(); !made) return made;
  DatabaseReader database = DatabaseReader::OpenOnServer(kSharedDatabase);
  if (!database) return DatabaseFailure(database.error());
  if (auto added = AddColumns(database, *script); !added) return added;
  if (!database.Run(script->c_str()) || !database.Run(kMergePeopleByDefaultSql))
    return DatabaseFailure(database.error());
  return Done{};
}

}  // namespace

std::vector<Failure> SetUpSharedTree(const StateRoot& root, const std::string& folder) {
  std::vector<Failure> failures;
  const auto note = [&failures](const Outcome<Done>& outcome) {
    if (!outcome) failures.push_back(outcome.failure());
    return static_cast<bool>(outcome);
  };
  const auto tree = NameSharedTree(folder);
  if (!tree) {
    failures.push_back(tree.failure());
  } else if (note(ClearOfLibraries(root, *tree)) && note(MakeLink(root, tree->folder))) {
    note(root.MakeFolder(tree->StateFolder()));
  }
  note(PrepareDatabase());
  return failures;
}
