// A library: one folder of photos and videos with the database inside it. To the plug-in it is the personal
// photo folder of a user whose name stands for the folder.
#ifndef SERVICE_LIBRARY_H_
#define SERVICE_LIBRARY_H_

#include <optional>
#include <string>

#include "file_descriptor.h"
#include "outcome.h"
#include "state_root.h"

inline constexpr const char* kDatabaseName = ".KAVOHGADB";

struct Library {
  std::string folder;  // real absolute path
  std::string user;
  std::string database() const { return folder + "/" + kDatabaseName; }
};

// Makes FOLDER a library (again). Fails when it is no folder, or lies in or around another library.
Outcome<Library> MakeLibrary(const StateRoot& root, const std::string& folder);

// The library that FOLDER is or would be; nothing is made.
Outcome<Library> NameLibrary(const std::string& folder);

// The library that PATH lies in (or is), this state folder's or, to be read, another's; nothing when it lies
// in none. PATH is absolute.
std::optional<Library> FindLibrary(const std::string& path);

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

// The absolute path of PATH as libraries know it: links on the way to it are resolved, PATH itself is taken
// as it is and need not exist.
std::string KeyPath(const std::string& path);

#endif  // SERVICE_LIBRARY_H_
