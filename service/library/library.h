// A library: one folder of photos and videos with its database. A personal one has it inside, and to the
// plug-in it is the personal photo folder of a user whose name stands for the folder. The shared one is the
// shared photo folder, of which a state folder has one at most; its database is on a PostgreSQL server.
#ifndef SERVICE_LIBRARY_LIBRARY_H_
#define SERVICE_LIBRARY_LIBRARY_H_

#include <cstdint>
#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "base/shared_database.h"
#include "common/database_name.h"
#include "common/outcome.h"
#include "library/state_root.h"

enum class LibraryKind : std::uint8_t { kPersonal, kShared };

struct Library {
  std::string folder;  // real absolute path
  std::string user;    // names what the state folder keeps about it, too
  LibraryKind kind = LibraryKind::kPersonal;

  bool shared() const { return kind == LibraryKind::kShared; }
  // Its file, or its name on the server.
  std::string database() const { return shared() ? kSharedDatabase : folder + "/" + kDatabaseName; }

  // What the state folder keeps about it: a folder of the service's own, and the settings that the plug-in
  // reads. Appliance paths.
  std::string StateFolder() const;
  std::string PreferenceFolder() const;
  std::string PreferenceFile() const { return PreferenceFolder() + "/kavoinfo.conf"; }

  // What its database calls the file with the path BELOW the library: the shared one has absolute paths.
  // (Albums bear their path below the library in both.)
  std::string FileKey(const std::string& below) const;
  // The absolute path of the file with that key.
  std::string PathOfFileKey(const std::string& key) const;
  // PATH below the library; "" when it is the library itself or lies elsewhere.
  std::string Below(const std::string& path) const;
};

// Makes FOLDER a personal library (again). Fails when it is no folder, or lies in or around another library.
Outcome<Library> MakeLibrary(const StateRoot& root, const std::string& folder);

// The personal library that FOLDER is or would be; nothing is made. Fails for what belongs to the shared
// tree.
Outcome<Library> NameLibrary(const std::string& folder);

// Fails where MakeLibrary would refuse LIBRARY for another library; nothing is made.
Outcome<Done> MayBeMade(const StateRoot& root, const Library& library);

// The shared tree that FOLDER would be; nothing is made.
Outcome<Library> NameSharedTree(const std::string& folder);
// Fails when a personal library lies in or around LIBRARY; one that was given up is forgotten instead.
Outcome<Done> ClearOfLibraries(const StateRoot& root, const Library& library);
// The shared tree; nothing when this state folder has none. Its folder may be out of reach.
std::optional<Library> SharedTree();
// The same where it is needed. NAMED, unless empty, has to be its folder.
Outcome<Library> RequireSharedTree(const std::string& named);

// The library, personal or shared, that PATH lies in (or is), this state folder's or, to be read, another's;
// nothing when it lies in none. PATH is absolute.
std::optional<Library> FindLibrary(const std::string& path);

// Whether it can be told whose PATH is. Where it cannot FindLibrary finds nothing.
bool OwnerIsKnown(const std::string& path);

// Keeps other runs off a library as long as it lives, also those with another state folder.
class LibraryLock {
 public:
  static Outcome<LibraryLock> Take(const StateRoot& root, const Library& library);

  // False when the folder that was locked is no longer what stands under the library's path.
  bool FolderIsThere(const Library& library) const;

 private:
  LibraryLock(FileDescriptor in_root, FileDescriptor folder)
      : in_root_(std::move(in_root)), folder_(std::move(folder)) {}

  FileDescriptor in_root_;
  FileDescriptor folder_;  // empty where the folder cannot be opened or locked
};

// A run holds LIBRARY now, be it one with another state folder, or somebody else keeps its folder locked.
bool IsHeld(const Library& library);

// The absolute path of PATH as libraries know it: links on the way to it are resolved, PATH itself is taken
// as it is and need not exist.
std::string KeyPath(const std::string& path);

#endif  // SERVICE_LIBRARY_LIBRARY_H_
