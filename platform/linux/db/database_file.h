#ifndef PLATFORM_LINUX_DB_DATABASE_FILE_H_
#define PLATFORM_LINUX_DB_DATABASE_FILE_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"

// The place of a database file: its folder, held, and its name there. Links on the way to the folder are
// followed as far as they count (core/trusted_folder.h); wherever the way leads later, the folder stays.
class DatabaseFile {
 public:
  // Nothing, with ERROR, when the folder cannot be reached or something else than a regular file stands in
  // the file's place. The file itself may be missing.
  [[nodiscard]] static std::optional<DatabaseFile> Find(std::string_view file, std::string& error);

  [[nodiscard]] const FileDescriptor& folder() const { return folder_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  // The name under which calls that take one find the file below the held folder, for as long as this lives.
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  DatabaseFile(FileDescriptor folder, std::string_view name);

  FileDescriptor folder_;
  std::string name_;
  std::string path_;
};

// What stands under NAME in FOLDER itself; a link is not followed. Nothing when there is nothing.
std::optional<struct stat> StatusIn(const FileDescriptor& folder, const std::string& name);

#endif  // PLATFORM_LINUX_DB_DATABASE_FILE_H_
