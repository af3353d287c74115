#include "watch/file_hints.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/path_below.h"
#include "files/looking.h"
#include "files/media_files.h"
#include "files/open_folder.h"

namespace {

HintState StateOf(unsigned told) {
  if ((told & kToldClosed) != 0) return HintState::kComplete;
  if ((told & (kToldWent | kToldMovedIn)) != 0) return HintState::kMoved;
  return (told & (kToldMade | kToldWritten)) != 0 ? HintState::kGrowing : HintState::kTouched;
}

}  // namespace

bool IsLeftOut(std::string_view name) {
  return name.starts_with('.') || name == kSideFolder;
}

std::string PathIn(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string(name) : std::string(folder).append("/").append(name);
}

void EraseTree(std::set<std::string>& paths, const std::string& top) {
  if (top.empty()) return paths.clear();
  paths.erase(top);
  auto first = paths.lower_bound(top + "/");
  while (first != paths.end() && LiesBelow(*first, top)) first = paths.erase(first);
}

void FileHints::Tell(unsigned told, const std::string& path) {
  // What is no photo has no row; but it may have stood in the place of something that has.
  if (!MediaKindOf(path)) {
    if ((told & kToldWent) != 0) listener_.Hinted({path, Reach::kName, HintState::kComplete});
    return;
  }
  const bool is_whole = NoteLink(told, path);
  listener_.Hinted({path, Reach::kName, is_whole ? HintState::kComplete : StateOf(told)});
}

// True for a name that came without anybody writing. What is written under one of several names has changed
// under all of them, and nobody tells which these are.
bool FileHints::NoteLink(unsigned told, const std::string& path) {
  if ((told & kToldWent) != 0) links_.erase(path);
  if ((told & (kToldMade | kToldMovedIn | kToldClosed)) == 0) return false;
  const Looking looking;
  struct stat status {};
  if (!looking || lstat(PathIn(folder_, path).c_str(), &status) != 0) return false;
  const bool is_link = S_ISLNK(status.st_mode);
  if (is_link) links_.insert(path);
  const bool has_others = S_ISREG(status.st_mode) && status.st_nlink > 1;
  if (has_others && (told & kToldClosed) != 0) listener_.Hinted({"", Reach::kTree, HintState::kComplete});
  return is_link || has_others;
}

bool FileHints::List(int folder, const std::string& path, const std::function<void(std::string)>& found) {
  const OpenFolder listing(folder);
  if (!listing) return false;
  errno = 0;
  while (const dirent* entry = listing.Next()) {
    if (!IsLeftOut(entry->d_name))
      NoteName(listing.descriptor(), PathIn(path, entry->d_name), entry->d_name, entry->d_type, found);
    errno = 0;
  }
  return errno == 0;
}

void FileHints::NoteName(int folder, const std::string& path, const char* name, unsigned char type,
                         const std::function<void(std::string)>& found) {
  struct stat status {};
  const bool unknown = type == DT_UNKNOWN;
  if (unknown && fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (type == DT_DIR || (unknown && S_ISDIR(status.st_mode))) found(path);
  const bool is_link = type == DT_LNK || (unknown && S_ISLNK(status.st_mode));
  if (is_link && MediaKindOf(path)) links_.insert(path);
}
