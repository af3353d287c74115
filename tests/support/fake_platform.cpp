#include "support/fake_platform.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "support/temp_dir.h"

#include "support/fake_record.h"

namespace {

std::map<std::string, int>& CallNumbers() {
  static std::map<std::string, int> numbers;
  return numbers;
}

}  // namespace

FakePlatform& FakePlatform::Get() {
  static FakePlatform platform;
  return platform;
}

void FakePlatform::Reset() {
  Get() = FakePlatform{};
  CallNumbers().clear();
}

int FakePlatform::Count(const std::string& prefix) const {
  return static_cast<int>(
      std::count_if(calls.begin(), calls.end(), [&](const auto& call) { return call.starts_with(prefix); }));
}

namespace {

void EnablePackage(FakePlatform& fake, const std::string& base) {
  fake.root = base + "/root";
  WriteFile(fake.root + "/var/packages/Lumivault/enabled", "");
  fake.key_values[fake.root + "/var/packages/Lumivault/etc/settings.conf"]["runpersonallumivault"] = "yes";
}

}  // namespace

std::string FakePlatform::AddPersonalLibrary(const std::string& base, const std::string& user) {
  EnablePackage(*this, base);
  preference_dirs[user] = base + "/preference/" + user;
  const std::string user_settings = preference_dirs[user] + "/kavoinfo.conf";
  WriteFile(user_settings, "");
  key_values[user_settings]["runpersonallumivault"] = "yes";
  personal_folders[user] = base + "/homes/" + user + "/photo";
  WriteFile(personal_folders[user] + "/.KAVOHGADB", "");
  return personal_folders[user];
}

std::string FakePlatform::AddSharedLibrary(const std::string& base) {
  namespace fs = std::filesystem;
  EnablePackage(*this, base);
  shares["photo"] = base + "/photo";
  fs::create_directories(shares["photo"]);
  fs::create_directories(root + "/var/services");
  fs::create_symlink(shares["photo"], root + "/var/services/photo");
  return shares["photo"];
}

bool RecordCall(const std::string& name, const std::string& arguments) {
  FakePlatform& fake = FakePlatform::Get();
  fake.calls.push_back(name + "(" + arguments + ")");
  const int number = ++CallNumbers()[name];
  const auto at = fake.failing_at.find(name);
  return fake.failing.contains(name) || (at != fake.failing_at.end() && at->second == number);
}
