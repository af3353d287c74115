#include "common/person_folder.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

std::string HomeFolder() {
  if (const char* home = getenv("HOME"); home != nullptr && *home != '\0') return home;
  const passwd* user = getpwuid(getuid());
  return user != nullptr ? user->pw_dir : "";
}

}  // namespace

std::string PersonFolder(const char* variable, const char* below) {
  if (const char* folder = getenv(variable); folder != nullptr && *folder == '/') return folder;
  const std::string home = HomeFolder();
  return home.empty() ? "" : home + "/" + below;
}
