// The folder in which the service keeps everything that is not a photo: an appliance's file tree with the
// settings and personal folders of this user, and a folder of its own for each library.
//
//   var/packages/Lumivault/{enabled, etc/settings.conf, target/photo_scripts/sql/pphoto.sql}
//   usr/kavo/etc/preference/<user>/kavoinfo.conf
//   etc/kavo/personal.conf                      <user>="<library folder>" a line
//   libraries/<user>/                           what the service keeps about a library
//
// Only this user may look into it (mode 0700).
#ifndef SERVICE_LIBRARY_STATE_ROOT_H_
#define SERVICE_LIBRARY_STATE_ROOT_H_

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_descriptor.h"
#include "common/outcome.h"

class StateRoot {
 public:
  // NAMED, or $XDG_STATE_HOME/lumivault, or ~/.local/state/lumivault; made absolute. LUMIVAULT_ROOT points at
  // it from now on, here and in the processes started. Nothing is made. Fails for one that somebody else may
  // change (state_trust.h).
  static Outcome<StateRoot> Locate(const std::string& named);

  // Makes what is missing and refreshes what is out of date. Safe to repeat, and in several processes at
  // once. What people changed in settings.conf stays.
  Outcome<Done> Prepare() const;

  const std::string& path() const { return path_; }
  // The real place of an appliance path ("/etc/kavo/personal.conf").
  std::string Place(std::string_view appliance_path) const { return path_ + std::string(appliance_path); }

  // Makes FOLDER (an appliance path) with its parents.
  Outcome<Done> MakeFolder(std::string_view folder) const;
  // Whoever has the lock makes some small files.
  static constexpr std::chrono::seconds kLockPatience{10};
  // Waits until no other process changes the root; held until the descriptor closes. Fails with kLibraryBusy
  // when that takes longer than PATIENCE, as stopped when a signal to stop arrives meanwhile.
  Outcome<FileDescriptor> Lock(std::chrono::milliseconds patience = kLockPatience) const;

 private:
  explicit StateRoot(std::string path) : path_(std::move(path)) {}

  // The folders above it, which others may have to pass and nobody else may write to.
  Outcome<Done> MakeWay() const;
  Outcome<Done> PrepareLocked() const;
  Outcome<Done> PrepareSettings() const;
  Outcome<Done> PrepareSchema() const;
  Outcome<Done> RemoveToolLink() const;

  std::string path_;
};

// What the service keeps about its libraries lies there, an appliance path.
inline constexpr const char* kLibraries = "/libraries";

inline constexpr const char* kPersonalSetting = "runpersonallumivault";
inline constexpr const char* kPublicSetting = "albumdefpublic";

struct Setting {
  const char* key;
  const char* value;
};
// Adds to a key=value file those of SETTINGS whose keys it has not; what people have set stays.
Outcome<Done> AddMissingSettings(const std::string& file, const std::vector<Setting>& settings);

// A line KEY="VALUE" for a key=value file. VALUE has no line end.
std::string KeyValueLine(std::string_view key, std::string_view value);

#endif  // SERVICE_LIBRARY_STATE_ROOT_H_
