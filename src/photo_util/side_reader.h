// Side files lie in folders of the users, so they are reached only below the photo root of the request, never
// through a symbolic link, and only regular files are read.
#ifndef PHOTO_UTIL_SIDE_READER_H_
#define PHOTO_UTIL_SIDE_READER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

enum class SideRead { kDone, kOpenFailed, kReadFailed };

struct SideLine {
  SideRead outcome;
  // Of kDone, as fgets gives it: at most SIZE - 1 bytes, the newline kept, up to the first NUL; empty for an
  // empty file.
  std::string text;
};

// False outside the photo root as well.
bool SideFileExists(const std::string& path);
// What the event that goes on has seen of the folder of side files does not hold any more: it has waited
// since.
void LookForSideFolderAnew();
// The side file of the media file PATH for ITEM ("GPS") that is there, KAVOPHOTO_<ITEM> before
// KAVOPHOTO:<ITEM>. A name of 4096 bytes and more is cut and so finds nothing.
std::optional<std::string> FindSideItem(std::string_view path, const char* item);
// A descriptor of side file PATH, open for reading; -1 on failure.
[[nodiscard]] int OpenSideFile(const std::string& path);
// The first line of side file PATH, bounded by SIZE bytes, terminator included. A failure is logged.
[[nodiscard]] SideLine ReadSideLine(const std::string& path, std::size_t size);
// Removes what has been read; while a batch is open, at its commit. A file that cannot be removed stays and
// is read again next time, with the same answer.
void RemoveSideFile(const std::string& path);

#endif  // PHOTO_UTIL_SIDE_READER_H_
