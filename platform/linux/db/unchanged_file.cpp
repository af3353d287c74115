#include "db/unchanged_file.h"

#include <utility>

namespace {

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

UnchangedFile::UnchangedFile(std::string path) : path_(std::move(path)) {
  if (lstat(path_.c_str(), &at_first_) != 0) at_first_ = {};
}

bool UnchangedFile::Holds() const {
  struct stat now {};
  return lstat(path_.c_str(), &now) == 0 && now.st_dev == at_first_.st_dev &&
         now.st_ino == at_first_.st_ino && now.st_size == at_first_.st_size &&
         SameTime(now.st_mtim, at_first_.st_mtim) && SameTime(now.st_ctim, at_first_.st_ctim);
}
