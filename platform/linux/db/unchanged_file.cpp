#include "db/unchanged_file.h"

#include <sys/stat.h>

#include <utility>

namespace {

std::optional<FileState> StateOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? std::optional(FileState(status)) : std::nullopt;
}

}  // namespace

UnchangedFile::UnchangedFile(std::string path) : path_(std::move(path)), at_first_(StateOf(path_)) {}

bool UnchangedFile::Holds() const {
  return at_first_ && at_first_ == StateOf(path_);
}
