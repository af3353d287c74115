#ifndef SERVICE_PROBE_RECORD_TEXT_H_
#define SERVICE_PROBE_RECORD_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

// RAW as a text of the record: up to its first NUL, without blanks at either end, in UTF-8 (converted from
// the system's code page when it is not), cut at a character boundary to fit SIZE bytes with its terminator.
std::string RecordText(std::string_view raw, std::size_t size);

// RAW, a name or a part of one, likewise, but with the blanks that it has at its ends: whoever compares it
// with the name finds them there.
std::string RecordName(std::string_view raw, std::size_t size);

// RAW in one line of UTF-8, for messages.
std::string OneLine(std::string_view raw);

#endif  // SERVICE_PROBE_RECORD_TEXT_H_
