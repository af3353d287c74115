#include "worker/library_session.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "base/fixed_path.h"
#include "base/limits.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "database/database_reader.h"
#include "database/database_schema.h"
#include "database/library_facts.h"
#include "database/queries_sql.h"
#include "library/library.h"
#include "platform/connection_lending.h"
#include "platform/files.h"

namespace {

Failure Unreachable(const std::string& database, const std::string& why) {
  return {ExitStatus::kDatabase, AboutFile(database, why)};
}

std::string InstalledSchema() {
  std::array<char, kPathSize> path{};
  KAVOFixedPathGet(kPersonalSchema, path.data(), kPathSize);
  return path.data();
}

Outcome<std::string> PersonalSchema() {
  if (auto schema = ReadWholeFile(InstalledSchema())) return std::move(*schema);
  return Failure{ExitStatus::kConfiguration, "the schema of personal databases cannot be read"};
}

// A first use that was cut short leaves a database without its tables. The schema script is safe to run
// again.
Outcome<Done> CompleteSchema(DatabaseReader& reader, const std::string& database) {
  if (reader.HasSchema()) return Done{};
  const auto schema = PersonalSchema();
  if (!schema) return schema.failure();
  if (reader.Run(schema->c_str()) && reader.HasSchema()) return Done{};
  return Unreachable(database, reader.error());
}

// An older database has no statistics, or keys that are none yet: the script adds them. The one makes deletes
// fast, the other concerns what two programs do at the same moment, so a database that does not take them is
// used as it is; the connection is one of its own, since a script that fails leaves its transaction open.
void BringUpToDate(const std::string& database) {
  DatabaseReader reader(database);
  if (!reader || (reader.HasStatistics() && HasKeys(reader))) return;
  if (const auto schema = ReadWholeFile(InstalledSchema())) static_cast<void>(reader.Run(schema->c_str()));
}

// A database of before has no table for what the service notes in it.
Outcome<Done> CompleteFacts(DatabaseReader& reader, const std::string& database,
                            const Outcome<std::string>& script) {
  if (HasFacts(reader)) return Done{};
  if (!script) return script.failure();
  const auto statement = TableStatement(*script, kFactTable);
  if (statement && reader.Run(statement->c_str())) return Done{};
  return Unreachable(database, reader.error());
}

Outcome<Done> SetDefaults(DatabaseReader& reader, const std::string& database) {
  if (reader.Run(kMergePeopleByDefaultSql)) return Done{};
  return Unreachable(database, reader.error());
}

// The plug-in makes it where there is none, and does not tell why it could not.
Failure NotOpened(const Library& library, const std::string& error) {
  const std::string database = library.database();
  const bool lacks = access(database.c_str(), F_OK) != 0 && errno == ENOENT;
  if (lacks && faccessat(AT_FDCWD, library.folder.c_str(), W_OK, AT_EACCESS) != 0)
    return Unreachable(library.folder, "cannot be written, and the database is in it: " + ErrorText(errno));
  return Unreachable(database, error);
}

Outcome<Done> CompleteDatabase(const Library& library) {
  const std::string database = library.database();
  DatabaseReader reader(database);
  if (!reader) return NotOpened(library, reader.error());
  if (auto complete = CompleteSchema(reader, database); !complete) return complete;
  BringUpToDate(database);
  if (auto complete = CompleteFacts(reader, database, PersonalSchema()); !complete) return complete;
  return SetDefaults(reader, database);
}

// The shared database is set up once, by whoever may make databases.
Outcome<Done> CheckSharedDatabase(const Library& library) {
  DatabaseReader reader = DatabaseReader::Open(library);
  if (!reader) return Unreachable("the database " + library.database(), reader.error());
  if (!reader.HasSchema()) return WithoutTables(library);
  return CompleteFacts(reader, "the database " + library.database(), SharedSchema());
}

Outcome<Done> OpenDatabase(const Library& library) {
  const std::string database = library.database();
  if (library.shared()) {
    if (auto there = CheckSharedDatabase(library); !there) return there;
    if (KAVODBLendDatabase(kSharedUser, database.c_str()) == 0) return Done{};
  } else {
    if (auto complete = CompleteDatabase(library); !complete) return complete;
    if (KAVODBLend(database.c_str()) == 0) return Done{};
  }
  return Unreachable(database, KAVODBLentErrorGet());
}

}  // namespace

Outcome<LibrarySession> LibrarySession::Open(const Plugin& plugin, LogCapture& log, const Library& library) {
  if (plugin.HGAStatusCheck(library.folder.c_str()) < 0) {
    return Failure{ExitStatus::kConfiguration,
                   Visible(library.folder) + ": not usable as a library: " + ReasonOf(log.Take())};
  }
  if (auto opened = OpenDatabase(library); !opened) return opened.failure();
  return LibrarySession(plugin);
}

LibrarySession::~LibrarySession() {
  if (plugin_ == nullptr) return;
  KAVODBLendEnd();
  plugin_->IndexDBClose();
}
