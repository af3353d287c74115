// The metadata tool without a process: the same questions, answered in this process.
#ifndef PLATFORM_LINUX_PROCESS_METADATA_TOOL_H_
#define PLATFORM_LINUX_PROCESS_METADATA_TOOL_H_

#include <optional>
#include <string>
#include <vector>

#include "process/spawn.h"

inline constexpr const char* kMetadataToolProgram = "/usr/kavo/bin/exiv2";

// Of a listing only the values in whose key or text one of these stands; none: all of them.
using WantedTexts = std::vector<std::string>;

// Answers as the program `exiv2` of the same version as the library does, on standard output and in its exit
// status, to the four forms of call in use; ARGUMENTS is the whole vector:
//   exiv2 -K <key> -Pt <path>   the value of one key, one line an occurrence; 1 when there is none
//   exiv2 -K <key> -Pv <path>   the same value uninterpreted
//   exiv2 -pa <path>            key, type, count and value of everything
//   exiv2 -Pkt <path>           key and value of everything
// 255 for what is no regular file, 1 for a file that the library does not read. Video containers count as
// such: the library crashes or hangs on some of them, as the program would. Nothing for any other form, and
// when memory is out. What is not WANTED is left out, and counts: a listing that is too long or breaks off is
// that all the same. Prints nothing, throws nothing.
[[nodiscard]] std::optional<SpawnResult> AnswerMetadataQuestion(const std::vector<std::string>& arguments,
                                                                const WantedTexts& wanted = {}) noexcept;

#endif  // PLATFORM_LINUX_PROCESS_METADATA_TOOL_H_
