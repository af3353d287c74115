// Reads from one file what its media record tells.
#ifndef SERVICE_PROBE_PROBE_H_
#define SERVICE_PROBE_PROBE_H_

#include <json/value.h>

#include <cstdint>
#include <string>

enum class MediaKind : std::uint8_t { kPhoto, kVideo };

enum class ProbeOutcome : std::uint8_t {
  kOk,
  kRefused,      // a link that is not followed for its maker's sake
  kUnreadable,   // missing, not permitted, or not a regular file
  kLate,         // reading it took too long, which says nothing about it
  kEmpty,        // no bytes
  kUnsupported,  // not a file of that kind, or of a format that is not read
  kDamaged,      // of that kind, but cut short or corrupt
  kSizeless,     // a camera's picture, whole as far as anybody can tell, whose size nobody tells
};

struct ProbeResult {
  ProbeOutcome outcome = ProbeOutcome::kOk;
  // One line that says why it is not kOk; empty when it is. Does not name the file.
  std::string reason;
  // The media JSON object, every key of it, filled as far as the file could be read: name, size and dates at
  // least, unless it is missing. "szPath" and "szName" are raw bytes; the other texts are UTF-8 and fit their
  // record field.
  Json::Value media;
  // The title that a photo carries itself, to fit the record; "szTitle" is the one made from its name.
  std::string title;
  // Of a video, the text of the column "gps", for which the record has no field; empty where it does not
  // tell.
  std::string place;
};

// Keeps the libraries that read files from writing about them to standard error, in this process from now on.
void MuteProbeLibraries();

// Opens regular files only, and waits for nothing but their bytes. The library of videos gets five seconds of
// work and thirty of reading. Throws std::bad_alloc only.
[[nodiscard]] ProbeResult ProbeFile(const std::string& path, MediaKind kind);

#endif  // SERVICE_PROBE_PROBE_H_
