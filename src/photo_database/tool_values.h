// What the metadata tool and the position script print.
#ifndef PHOTO_DATABASE_TOOL_VALUES_H_
#define PHOTO_DATABASE_TOOL_VALUES_H_

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

// Whether there is a file at PATH, which may be null, to ask anything about; that there is none is logged.
bool IsThereToRead(const char* path);

// All that the metadata tool prints for OPTION and PATH; "" for a file without metadata. It may leave out the
// lines that have nothing to do with the WANTED texts, where some are named. Nothing when the
// tool cannot be run (that is logged) or says that it could not read the file to its end: a file that is just
// being copied must not pass for one without metadata, nor a part of a listing for all of it.
std::optional<std::string> MetadataListing(const char* option, const char* path,
                                           std::initializer_list<const char*> wanted = {});

// The pieces of TEXT that end with a newline, without it, and what follows the last one.
std::vector<std::string> SplitLines(std::string_view text);
// The pieces between blanks; empty ones, as the tool's padding makes them, do not count.
std::vector<std::string> SplitWords(std::string_view text);

// The value of metadata KEY ("Xmp.dc.subject") as one text of less than SIZE bytes; nothing when it is
// absent, empty, too long or cannot be read. Each line of the value has been used as a format
// (base/value_format.h).
std::optional<std::string> PhotoExifTagValueGet(const char* path, const char* key, std::size_t size);

// The first line of what the tool prints for KEY uninterpreted, "46/1 53903520/1000000 0/1" for a position;
// nothing when there is none.
std::optional<std::string> StoredTagValue(const char* path, const char* key);

// The value line of TAG ("GPSLatitude", "GPSLongitude") from the position script; nothing when it gives none.
std::optional<std::string> PhotoGPSScriptValueGet(const char* path, const char* tag);

#endif  // PHOTO_DATABASE_TOOL_VALUES_H_
