// The files of a database: itself and what SQLite keeps beside it.
#ifndef PLATFORM_LINUX_DB_SQLITE_OWN_FILES_H_
#define PLATFORM_LINUX_DB_SQLITE_OWN_FILES_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "base/file_id.h"
#include "db/database_file.h"
#include "db/side_file.h"
#include "db/sqlite_refusal.h"

// Which names one connection's own files have, and which files it takes under them: regular ones with one
// name, a side file of somebody who may write the database, which hides nothing from those who read that.
// They are looked at and opened below the held folder, never through a link. What is refused is noted in
// REFUSAL, which outlives this.
//
// Used by the connection's thread.
class SqliteOwnFiles {
 public:
  SqliteOwnFiles(DatabaseFile place, SqliteRefusal& refusal);
  SqliteOwnFiles(const SqliteOwnFiles&) = delete;
  SqliteOwnFiles& operator=(const SqliteOwnFiles&) = delete;

  [[nodiscard]] const DatabaseFile& place() const { return place_; }
  // Names in the folder.
  [[nodiscard]] const std::string& journal() const { return journal_; }
  [[nodiscard]] const std::string& shared() const { return shared_; }
  // The one that PATH stands for; null when it is none of these files.
  [[nodiscard]] const std::string* Find(const char* path) const;
  // NAME is the database's, as Find gives it.
  [[nodiscard]] bool IsDatabase(const std::string* name) const { return name == &place_.name(); }

  // As open(2) does.
  [[nodiscard]] int Open(const char* path, int flags, mode_t mode);
  // FILE is what was made since the last ForgetMade; all else was there before.
  [[nodiscard]] bool HasMade(int file) const { return made_ && made_ == IdOfOpen(file); }
  void ForgetMade() { made_.reset(); }
  // A file without a name in the folder, where there can be one.
  [[nodiscard]] FileDescriptor OpenNameless() const;
  // Stands for the database that was opened (O_PATH), whatever bears its name by now; empty before.
  [[nodiscard]] const FileDescriptor& database() const { return opened_; }

 private:
  using Why = SqliteRefusal::Why;

  [[nodiscard]] int OpenNamed(const std::string& name, int flags, mode_t mode);
  [[nodiscard]] int OpenFound(const FileDescriptor& found, const std::string& name, int flags);
  // An owner may have a lease on a file, for which the open of another waits as long as the system lets it
  // (45 s); this one waits two seconds.
  [[nodiscard]] int OpenUnheld(const FileDescriptor& found, const std::string& name, int flags);
  [[nodiscard]] Why WhyRefused(const FoundFile& found, const std::string& name) const;
  void NoteDatabase(const FileDescriptor& database);

  const DatabaseFile place_;
  const std::string journal_;
  const std::string log_;
  const std::string shared_;
  SqliteRefusal& refusal_;
  std::optional<struct stat> database_;  // as it was opened
  FileDescriptor opened_;
  std::optional<FileId> made_;
  bool writable_ = true;  // the database, by whoever has opened it
};

#endif  // PLATFORM_LINUX_DB_SQLITE_OWN_FILES_H_
