// Time texts of the record: "YYYY-MM-DD hh:mm:ss", wall-clock time.
#ifndef SERVICE_PROBE_TAKEN_TIME_H_
#define SERVICE_PROBE_TAKEN_TIME_H_

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

// The date and time that TEXT begins with, as it stands there ("2009:11:13 13:33:25",
// "2013-05-01T12:34:56.7+02:00"): the clock of the place where the picture was taken. A date alone is
// midnight. Nothing when there is no such date.
std::optional<std::string> WallClockTime(std::string_view text);
// A moment whose month stands as "Jan" to "Dec" and whose CLOCK as "15:04:43"; nothing when there is none
// such.
std::optional<std::string> WallClockTime(std::string_view year, std::string_view month, std::string_view day,
                                         std::string_view clock);
// TEXT read as Coordinated Universal Time, in the local time of this machine. Nothing for the start of the
// epoch or before, which is what recorders without a clock write.
std::optional<std::string> LocalTimeOfUtc(std::string_view text);
std::string LocalTime(std::time_t time);

#endif  // SERVICE_PROBE_TAKEN_TIME_H_
