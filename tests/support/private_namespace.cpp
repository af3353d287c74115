#include "support/private_namespace.h"

#include <errno.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Paths = std::set<fs::path>;

void Mount(const std::string& source, const std::string& target, const char* type, unsigned long flags) {
  if (mount(source.c_str(), target.c_str(), type, flags, nullptr) != 0) {
    throw std::runtime_error("mounting " + target + ": " + strerror(errno));
  }
}

// Without privileges a user namespace gives them over the mounts of this process.
void Unshare() {
  if (unshare(CLONE_NEWNS) == 0) return;
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
    throw std::runtime_error(std::string("unshare: ") + strerror(errno));
  WriteFile("/proc/self/setgroups", "deny");
  WriteFile("/proc/self/uid_map", user + " " + user + " 1");
  WriteFile("/proc/self/gid_map", group + " " + group + " 1");
}

// Shows the entry OLD under the name FRESH.
void Show(const fs::directory_entry& old, const fs::path& fresh) {
  if (old.is_symlink()) {
    fs::copy_symlink(old.path(), fresh);
    return;
  }
  if (old.is_directory()) {
    fs::create_directory(fresh);
  } else {
    WriteFile(fresh, "");
  }
  Mount(old.path(), fresh, nullptr, MS_BIND | MS_REC);
}

void ShowWithout(const Paths& hidden, const fs::path& folder, const fs::path& stage) {
  Mount("tmpfs", stage, "tmpfs", 0);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (!hidden.contains(entry.path())) Show(entry, stage / entry.path().filename());
  }
  Mount(stage, folder, nullptr, MS_BIND | MS_REC);
  umount2(stage.c_str(), MNT_DETACH);
}

}  // namespace

std::string EnterPrivateNamespace(const Paths& paths) {
  try {
    const TempDir stage;
    Unshare();
    Mount("none", "/", nullptr, MS_REC | MS_PRIVATE);
    Paths parents;
    for (const fs::path& path : paths) parents.insert(path.parent_path());
    for (const fs::path& parent : parents) ShowWithout(paths, parent, stage.path());
    return "";
  } catch (const std::exception& error) {
    return error.what();
  }
}
