// Walks a library's folder: each folder, then its files sorted by name, then its sub-folders sorted by name.
// Streamed: what is kept at a time is the folders still to come of the levels above. Of a part of the tree
// the same comes as of all of it: the folders on the way are opened and listed, and nothing else in them is
// looked at.
//
// Left out: hidden names (leading '.'), side folders ("@eaDir") and with them everything below. A link to a
// file counts as a file, one to a folder is not followed. Mount points are entered, but neither a folder
// inside itself (a bind mount loop) nor one of another machine or of an image file. All with the rights that
// Looking gives.
#ifndef SERVICE_FILES_WALK_H_
#define SERVICE_FILES_WALK_H_

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/file_descriptor.h"
#include "common/outcome.h"
#include "files/file_stamp.h"
#include "files/name_list.h"
#include "files/walk_scope.h"

enum class EntryKind : std::uint8_t {
  kFolder,   // a folder that was opened; what it holds follows
  kFile,     // a regular file, or a link to one
  kSkipped,  // left out on purpose, and always was; `reason` says why
  kUnknown,  // left out, but something bears the name: what it was before may still be there, or be hidden by
             // it
  kFailed,   // could not be looked at, or not wholly; `reason` says why
};

struct WalkEntry {
  EntryKind kind;
  std::string path;    // absolute
  std::string reason;  // of a skipped, unknown or failed one
  // Of a folder or file, as it was when its folder was listed. A link's object is the link, its content the
  // file's.
  FileStamp stamp = {};
  // Of the root and of a folder on which another file system begins: the number of its device.
  std::uint64_t mounted_device = 0;
  bool meant = true;  // false: only on the way to what is
};

// One walk, used by one thread; others may walk beside it.
class Walk {
 public:
  // ROOT is the absolute path of a folder; its own name counts whatever it is. A failure when it cannot be
  // listed. SCOPE, of what is below it, outlives the walk.
  static Outcome<Walk> Start(const std::string& root, const WalkScope& scope = WalkScope::Whole());

  // The next entry; nothing at the end.
  std::optional<WalkEntry> Next();

 private:
  // What a name of a folder is, as far as listing it tells.
  enum class NameKind : std::uint8_t {
    kFile,
    kFolder,
    kHidden,
    kSpecial,
    kFolderLink,
    kDanglingLink,
    kClosedLink,
    kElsewhere,
    kUnknown
  };

  struct Name {
    NameKind kind;
    FileStamp stamp;
  };

  // A folder on the way to the current one, the last being the current one itself.
  struct Level {
    std::string path;
    FileStamp stamp;
    std::uint64_t device_number = 0;  // of the device
    WalkScope::Part part;             // of the scope
    int error = 0;                    // why its listing ended early
    NameList<Name> files;
    NameList<std::monostate> folders;
    std::size_t next_file = 0;
    std::size_t next_folder = 0;
  };

  Walk(FileDescriptor root, std::string path) : root_(std::move(root)), root_path_(std::move(path)) {}

  WalkEntry NextFolder();
  WalkEntry EnterFolder(const std::string& path, const WalkScope::Part& part);
  // To another machine or into an image file.
  bool LeadsElsewhere(const std::string& path) const;
  // Another file system than that of the folder above begins at the one with STATUS.
  bool BeginsAnotherFileSystem(const struct statx& status) const;
  bool IsAncestor(const Level& folder) const;
  void ListFolder(int folder, Level& level) const;
  // For the stamp of a file in LEVEL.
  static std::uint64_t DeviceOfFile(const struct statx& status, const Level& level);
  Name Classify(int folder, const char* name, unsigned char type, const Level& level) const;
  static Name ClassifyLinkTarget(int folder, const char* name, FileStamp stamp);
  static WalkEntry EntryOf(const Name& name, std::string path);

  FileDescriptor root_;
  std::string root_path_;
  bool started_ = false;
  std::vector<Level> levels_;
};

#endif  // SERVICE_FILES_WALK_H_
