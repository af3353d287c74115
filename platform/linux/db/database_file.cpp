#include "db/database_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <cstddef>
#include <utility>

#include "core/open_below.h"
#include "core/trusted_folder.h"

DatabaseFile::DatabaseFile(FileDescriptor folder, std::string_view name)
    : folder_(std::move(folder)), name_(name), path_(NameOfDescriptor(folder_) + "/" + name_) {}

std::optional<DatabaseFile> DatabaseFile::Find(std::string_view file, std::string& error) {
  const std::size_t name = file.rfind('/') + 1;  // npos + 1 is 0
  FileDescriptor folder = OpenTrustedFolder(name == 0 ? "." : std::string(file.substr(0, name)));
  if (!folder) {
    error = strerror(errno);
    return std::nullopt;
  }
  DatabaseFile found(std::move(folder), file.substr(name));
  const auto status = StatusIn(found.folder(), found.name());
  if (!status.has_value() || S_ISREG(status->st_mode)) return found;
  // A pipe or a device would be taken for a database.
  error = "Not a regular file.";
  return std::nullopt;
}

std::optional<struct stat> StatusIn(const FileDescriptor& folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return status;
}
