#include "db/database_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <cstddef>
#include <utility>

#include "core/open_below.h"
#include "core/trusted_folder.h"

namespace {

// A link is not followed. Nothing when there is no file.
std::optional<struct stat> StatusIn(int folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return status;
}

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Empty when it cannot be told.
std::string RealName(const Descriptor& folder) {
  std::string name(PATH_MAX, '\0');
  const ssize_t length = readlink(NameOfDescriptor(folder).c_str(), name.data(), name.size());
  name.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return name;
}

}  // namespace

DatabaseFile::DatabaseFile(Descriptor folder, std::string_view name, std::string_view real_folder)
    : folder_(std::move(folder)),
      name_(name),
      path_(std::string(real_folder).append("/").append(name)),
      found_(StatusIn(folder_.get(), name_)) {}

std::optional<DatabaseFile> DatabaseFile::Find(std::string_view file, std::string& error) {
  const std::size_t name = file.rfind('/') + 1;  // npos + 1 is 0
  Descriptor folder = OpenTrustedFolder(name == 0 ? "." : std::string(file.substr(0, name)));
  const std::string real_folder = folder ? RealName(folder) : "";
  if (real_folder.empty()) {
    error = strerror(errno);
    return std::nullopt;
  }
  DatabaseFile found(std::move(folder), file.substr(name), real_folder);
  if (!found.found_.has_value() || S_ISREG(found.found_->st_mode)) return found;
  // A pipe or a device would be taken for a database.
  error = "Not a regular file.";
  return std::nullopt;
}

bool DatabaseFile::IsInPlace() const {
  const auto held = StatusIn(folder_.get(), name_);
  const auto named = StatusIn(AT_FDCWD, path_);
  if (!held.has_value() || !named.has_value() || !SameFile(*held, *named)) return false;
  return !found_.has_value() || SameFile(*found_, *held);
}
