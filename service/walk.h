// Walks a library's folder: each folder, then its files sorted by name, then its sub-folders sorted by name.
// Streamed: what is kept at a time is the folders still to come of the levels above.
//
// Left out: hidden names (leading '.'), side folders ("@eaDir") and with them everything below. A link to a
// file counts as a file, one to a folder is not followed. Mount points are entered, but not a folder inside
// itself (a bind mount loop).
#ifndef SERVICE_WALK_H_
#define SERVICE_WALK_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "file_descriptor.h"
#include "name_list.h"
#include "outcome.h"

enum class EntryKind : std::uint8_t {
  kFolder,   // a folder that was opened; what it holds follows
  kFile,     // a regular file, or a link to one
  kSkipped,  // left out on purpose; `reason` says why
  kFailed,   // could not be looked at, or not wholly; `reason` says why
};

struct WalkEntry {
  EntryKind kind;
  std::string path;    // absolute
  std::string reason;  // of a skipped or failed one
};

class Walk {
 public:
  // ROOT is the absolute path of a folder; its own name counts whatever it is. A failure when it cannot be
  // listed.
  static Outcome<Walk> Start(const std::string& root);

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
    kUnknown
  };

  struct Identity {
    dev_t device;
    ino_t inode;
    bool operator==(const Identity&) const = default;
  };

  // A folder on the way to the current one, the last being the current one itself.
  struct Level {
    std::string path;
    Identity identity;
    int error = 0;  // why its listing ended early
    NameList<NameKind> files;
    NameList<NameKind> folders;
    std::size_t next_file = 0;
    std::size_t next_folder = 0;
  };

  Walk(FileDescriptor root, std::string path) : root_(std::move(root)), root_path_(std::move(path)) {}

  WalkEntry Enter(const std::string& path);
  bool IsAncestor(const Identity& identity) const;
  static void List(int folder, Level& level);
  static NameKind KindOf(int folder, const char* name, unsigned char type);
  static NameKind LinkKind(int folder, const char* name);
  static WalkEntry EntryOf(NameKind kind, std::string path);

  FileDescriptor root_;
  std::string root_path_;
  bool started_ = false;
  std::vector<Level> levels_;
};

#endif  // SERVICE_WALK_H_
