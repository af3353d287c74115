#include "support/appliance_tree.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr const char* kRootVariable = "LUMIVAULT_ROOT";

// The plug-in keeps the place of the shared photo folder for the life of the process, so every tree of a
// process stands at the same place.
const fs::path& ProcessFolder() {
  static const TempDir dir;
  return dir.path();
}

void RemoveContent(const fs::path& folder) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
}

// The lines of FILE but for those of KEY.
std::vector<std::string> OtherLines(const fs::path& file, const std::string& key) {
  std::vector<std::string> lines;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    if (!line.starts_with(key + "=")) lines.push_back(line);
  }
  return lines;
}

// Replaces the file, so that readers see the old content or the new one.
void SetKeyValue(const fs::path& file, const std::string& key, const std::string& value) {
  std::string content;
  for (const std::string& line : OtherLines(file, key)) content += line + "\n";
  if (!value.empty()) content += key + "=" + value + "\n";
  const fs::path fresh = file.string() + ".new";
  WriteFile(fresh, content);
  fs::rename(fresh, file);
}

}  // namespace

ApplianceTree::ApplianceTree(Place place) : place_(place), dir_(ProcessFolder()) {
  RemoveContent(dir_);
  fs::create_directories(shared());
  fs::create_directories(dir_ / "volume" / "homes");
  LinkShares();
  InstallPackage();
  EnablePackage(true);
  Set("runpersonallumivault", "yes");
  if (place_ == Place::kTemporary) setenv(kRootVariable, root().c_str(), 1);
}

void ApplianceTree::LinkShares() const {
  const fs::path services = root() / "var/services";
  fs::remove_all(services);
  fs::create_directories(services);
  fs::create_directory_symlink(shared(), services / "photo");
  fs::create_directory_symlink(dir_ / "volume" / "homes", services / "homes");
}

void ApplianceTree::InstallPackage() const {
  fs::remove_all(root() / "usr/kavo");
  fs::create_directories(root() / "usr/kavo/bin");
  fs::remove_all(root() / "var/packages/Lumivault");
  const fs::path sql = root() / "var/packages/Lumivault/target/photo_scripts/sql";
  fs::create_directories(sql);
  fs::copy_file(fs::path(LUMIVAULT_SQL_DIR) / "pphoto.sql", sql / "pphoto.sql");
}

ApplianceTree::~ApplianceTree() {
  unsetenv(kRootVariable);
  std::error_code ignored;
  fs::remove_all(dir_ / "root", ignored);
  fs::remove_all(dir_ / "volume", ignored);
}

void ApplianceTree::AddUser(const std::string& user) {
  fs::create_directories(personal(user));
  const fs::path preference = root() / "usr/kavo/etc/preference" / user;
  fs::create_directories(preference);
  SetKeyValue(preference / "kavoinfo.conf", "runpersonallumivault", "yes");
}

void ApplianceTree::Set(const std::string& key, const std::string& value) {
  const fs::path settings = root() / "var/packages/Lumivault/etc/settings.conf";
  fs::create_directories(settings.parent_path());
  SetKeyValue(settings, key, value);
}

void ApplianceTree::EnablePackage(bool enabled) {
  const fs::path marker = root() / "var/packages/Lumivault/enabled";
  if (enabled) {
    WriteFile(marker, "");
  } else {
    fs::remove(marker);
  }
}
