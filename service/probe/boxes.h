// Files that are a row of boxes (HEIF, JPEG XL): each has its length and its kind in front.
#ifndef SERVICE_PROBE_BOXES_H_
#define SERVICE_PROBE_BOXES_H_

#include <sys/types.h>

#include <string>
#include <vector>

struct Box {
  std::string kind;
  off_t content = 0;  // where it begins
  off_t end = 0;      // where it says that it ends
  bool whole = true;  // the file does not end before
};

// The boxes of the file that is open as DESCRIPTOR, to the first that is none; not more than 4096.
[[nodiscard]] std::vector<Box> BoxesOf(int descriptor);
// Those inside of OUTER, behind its first SKIPPED bytes.
[[nodiscard]] std::vector<Box> BoxesIn(int descriptor, const Box& outer, off_t skipped);

// BLOCK without the number that Exif has in front of itself in such files: how many bytes come before its
// TIFF structure. "" when there is none.
[[nodiscard]] std::string WithoutExifOffset(const std::string& block);

#endif  // SERVICE_PROBE_BOXES_H_
