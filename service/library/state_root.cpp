#include "library/state_root.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "base/fixed_path.h"
#include "base/limits.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/installation.h"
#include "common/person_folder.h"
#include "common/stop_signals.h"
#include "library/root_variable.h"
#include "library/state_trust.h"
#include "library/trusted_way.h"
#include "platform/files.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kModesSetting = "file_modes";
constexpr mode_t kPrivate = 0700;
constexpr mode_t kPassable = 0755;
constexpr mode_t kPrivateFile = 0600;
constexpr int kValueSize = 128;
using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLockPause{2};

// "" when there is no home either.
std::string DefaultRoot() {
  const std::string states = PersonFolder("XDG_STATE_HOME", ".local/state");
  return states.empty() ? "" : (fs::path(states) / "lumivault").string();
}

Failure Unusable(const std::string& path, int error) {
  return {ExitStatus::kConfiguration, AboutFile(path, ErrorText(error))};
}

// FOLDER is the one of STATE or on the way to it; people named neither, but what they want to index.
Failure NoStateFolder(const std::string& state, const std::string& folder, int error) {
  return {ExitStatus::kConfiguration, "the state folder " + Visible(state) + " cannot be made: " +
                                          AboutFile(folder, ErrorText(error)) + "; name another with --root"};
}

bool MakeOne(const std::string& folder, mode_t mode) {
  return mkdir(folder.c_str(), mode) == 0 || (errno == EEXIST && fs::is_directory(folder));
}

bool HasSetting(const std::string& settings, const char* key) {
  std::array<char, kValueSize> value{};
  return RLIBCFileGetKeyValue(settings.c_str(), key, value.data(), kValueSize, 0) >= 0;
}

// What is there of NAMED is found over links that count; the rest is to be made.
Outcome<fs::path> RealPlaceOf(const fs::path& named) {
  std::error_code error;
  fs::path there = fs::absolute(named, error);
  fs::path rest;
  for (; !fs::is_directory(there, error) && there.has_relative_path(); there = there.parent_path())
    rest = rest.empty() ? there.filename() : there.filename() / rest;
  const auto way = WayTo(there.string());
  if (!way) return Failure{ExitStatus::kConfiguration, AboutFile(named.string(), way.failure().message)};
  return (rest.empty() ? fs::path(*way) : *way / rest).lexically_normal();
}

}  // namespace

std::string KeyValueLine(std::string_view key, std::string_view value) {
  return std::string(key).append("=\"").append(value).append("\"\n");
}

Outcome<StateRoot> StateRoot::Locate(const std::string& named) {
  const std::string chosen = named.empty() ? DefaultRoot() : named;
  if (chosen.empty()) {
    return Failure{ExitStatus::kConfiguration, "no state folder: name one with --root or set HOME"};
  }
  const auto real = RealPlaceOf(chosen);
  if (!real) return real.failure();
  const fs::path& absolute = *real;
  std::error_code error;
  if (fs::exists(absolute, error) && !fs::is_directory(absolute, error)) {
    return Failure{ExitStatus::kConfiguration, Visible(absolute.string()) + ": is not a folder"};
  }
  if (auto trusted = TrustStateFolder(absolute.string()); !trusted) return trusted.failure();
  setenv(kRootVariable, absolute.c_str(), 1);
  std::array<char, kPathSize> place{};
  if (KAVOFixedPathGet(kSharedPhotoLink, place.data(), kPathSize) < 0) {
    return Failure{ExitStatus::kConfiguration,
                   Visible(absolute.string()) + ": the path is too long for a state folder"};
  }
  return StateRoot(absolute.string());
}

Outcome<Done> StateRoot::MakeFolder(std::string_view folder) const {
  const std::string whole = Place(folder);
  for (std::size_t end = path_.size(); end != std::string::npos; end = whole.find('/', end + 1)) {
    const std::string above = whole.substr(0, end);
    if (!MakeOne(above, kPrivate))
      return end == path_.size() ? NoStateFolder(path_, above, errno) : Unusable(above, errno);
  }
  if (!MakeOne(whole, kPrivate)) return Unusable(whole, errno);
  return Done{};
}

Outcome<FileDescriptor> StateRoot::Lock(std::chrono::milliseconds patience) const {
  const std::string file = Place("/lock");
  FileDescriptor lock(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivateFile));
  if (!lock) return Unusable(file, errno);
  // A wait inside flock would have no end, for its signals wait as well.
  const auto deadline = Clock::now() + patience;
  while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return Unusable(file, errno);
    if (const int signal = PendingStop(); signal != 0) {
      return Failure{StoppedBy(signal), Visible(path_) + ": stopped while waiting for the state folder"};
    }
    if (Clock::now() >= deadline) {
      return Failure{ExitStatus::kLibraryBusy, Visible(path_) + ": another run holds the state folder"};
    }
    std::this_thread::sleep_for(kLockPause);
  }
  return lock;
}

Outcome<Done> StateRoot::MakeWay() const {
  for (std::size_t end = path_.find('/', 1); end != std::string::npos; end = path_.find('/', end + 1)) {
    const std::string above = path_.substr(0, end);
    if (!MakeOne(above, kPassable)) return NoStateFolder(path_, above, errno);
  }
  return Done{};
}

Outcome<Done> StateRoot::Prepare() const {
  if (auto made = MakeWay(); !made) return made;
  if (auto made = MakeFolder(""); !made) return made;
  // What was not there when it was located may have been made by others.
  if (auto trusted = TrustStateFolder(path_); !trusted) return trusted;
  auto lock = Lock();
  if (!lock) return lock.failure();
  return PrepareLocked();
}

Outcome<Done> StateRoot::PrepareLocked() const {
  constexpr std::array kFolders{"/var/packages/Lumivault/etc",
                                "/var/packages/Lumivault/target/photo_scripts/sql",
                                "/usr/kavo/bin",
                                kPreferences,
                                "/etc/kavo",
                                kLibraries};
  for (const char* folder : kFolders) {
    if (auto made = MakeFolder(folder); !made) return made;
  }
  if (auto written = WriteWholeFile(Place(kPackageMarker), ""); !written) return written;
  if (auto settings = PrepareSettings(); !settings) return settings;
  if (auto schema = PrepareSchema(); !schema) return schema;
  return RemoveToolLink();
}

Outcome<Done> AddMissingSettings(const std::string& file, const std::vector<Setting>& settings) {
  std::string content = ReadWholeFile(file).value_or("");
  if (!content.empty() && content.back() != '\n') content += '\n';
  for (const auto& [key, value] : settings) {
    if (!HasSetting(file, key)) content += KeyValueLine(key, value);
  }
  return WriteWholeFile(file, content);
}

Outcome<Done> StateRoot::PrepareSettings() const {
  const std::string settings = Place(kPackageSettings);
  // Without "keep" the modes of people's files would be opened to everybody.
  auto written = AddMissingSettings(
      settings, {{kPersonalSetting, "yes"}, {kPublicSetting, "no"}, {kModesSetting, "keep"}});
  if (!written) return written;
  if (RLIBCFileCheckKeyValue(settings.c_str(), kPersonalSetting, "yes", 0) != 0) return Done{};
  return Failure{ExitStatus::kConfiguration,
                 AboutFile(settings, std::string(kPersonalSetting) + " is not \"yes\"")};
}

Outcome<Done> StateRoot::PrepareSchema() const {
  const auto source = SchemaPath(kPersonalScript);
  if (!source) return source.failure();
  const auto schema = ReadWholeFile(*source);
  if (!schema) return Unusable(*source, errno);
  return WriteWholeFile(Place(kPersonalSchema), *schema);
}

// Earlier versions left a link to the machine's own tool, which makes a database less safely than the
// platform does without one.
Outcome<Done> StateRoot::RemoveToolLink() const {
  const std::string link = Place(kSqliteTool);
  std::error_code error;
  if (fs::is_symlink(link, error) && unlink(link.c_str()) != 0) return Unusable(link, errno);
  return Done{};
}
