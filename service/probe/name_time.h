#ifndef SERVICE_PROBE_NAME_TIME_H_
#define SERVICE_PROBE_NAME_TIME_H_

#include <optional>
#include <string>
#include <string_view>

// The time in the name of a file as phones and cameras write it ("VID_20200701_223000.mp4",
// "2020-07-01 22.30.00.mov", "Screen Shot 2020-07-01 at 9.41.00 PM.png", "PXL_20200701_203000123.mp4", which
// is Universal Time), as a time text of the record. A date alone does not count, but for
// "VID-20200701-WA0001.mp4". Nothing for a name without one.
std::optional<std::string> TimeInName(std::string_view name);

#endif  // SERVICE_PROBE_NAME_TIME_H_
