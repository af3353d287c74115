#ifndef PLATFORM_LINUX_DB_DATABASE_FILE_H_
#define PLATFORM_LINUX_DB_DATABASE_FILE_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "core/descriptor.h"

// The place of a database file, for a library that opens files by name. Links on the way to its folder are
// followed as far as they count (core/trusted_folder.h); then the folder is held, so that after the opening
// it shows whether the name has led there.
class DatabaseFile {
 public:
  // Nothing, with ERROR, when the folder cannot be reached or something else than a regular file stands in
  // the file's place. The file itself may be missing.
  [[nodiscard]] static std::optional<DatabaseFile> Find(std::string_view file, std::string& error);

  // Its name without links, as it was when it was found.
  [[nodiscard]] const std::string& path() const { return path_; }
  // Whether the folder, and what stands under the name, have the same file, and the one that was there
  // before, where one was.
  [[nodiscard]] bool IsInPlace() const;

 private:
  DatabaseFile(Descriptor folder, std::string_view name, std::string_view real_folder);

  Descriptor folder_;
  std::string name_;
  std::string path_;
  std::optional<struct stat> found_;
};

#endif  // PLATFORM_LINUX_DB_DATABASE_FILE_H_
