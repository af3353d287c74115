#include "db/failed_creations.h"

#include <mutex>
#include <set>

namespace {

struct Failed {
  std::mutex mutex;
  std::set<std::string> files;
};

Failed& TheFailed() {
  static Failed failed;
  return failed;
}

}  // namespace

void NoteCreation(const std::string& file, bool made) {
  Failed& failed = TheFailed();
  const std::lock_guard<std::mutex> lock(failed.mutex);
  if (made) {
    failed.files.erase(file);
  } else {
    failed.files.insert(file);
  }
}

bool CreationFailed(const std::string& file) {
  Failed& failed = TheFailed();
  const std::lock_guard<std::mutex> lock(failed.mutex);
  return failed.files.contains(file);
}
