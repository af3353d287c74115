// Time texts of the record: "YYYY-MM-DD hh:mm:ss", wall-clock time of the years 1901 to 9999.
#ifndef SERVICE_PROBE_TAKEN_TIME_H_
#define SERVICE_PROBE_TAKEN_TIME_H_

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

// What a text told.
enum class TimeKind : std::uint8_t {
  kMoment,  // the time of the day too
  kDay,     // its midnight stands for it
  kRough,   // a day with something behind it that is not understood, or the first day of a month or a year
};

struct ReadTime {
  std::string text;
  TimeKind kind = TimeKind::kMoment;

  bool operator==(const ReadTime&) const = default;
};

// What the sources of a time told, which are asked one after the other.
struct TakenTime {
  std::string time;   // of the first source that had a moment or a day
  std::string rough;  // of the first that had less; for want of anything better

  // True when it is found.
  bool Take(const std::optional<ReadTime>& read);
};

// The date and time that TEXT begins with, as it stands there ("2009:11:13 13:33:25", "2001/ 1/27  1:42PM",
// "2013-05-01T12:34:56.7+02:00", "1985-06"): the clock of the place where the picture was taken. A leap
// second is the one before, 24 o'clock the next midnight. Nothing when there is no such date.
std::optional<ReadTime> TimeIn(std::string_view text);
// A moment whose month stands as "Jan" to "Dec" and whose CLOCK as "15:04:43"; nothing when there is none
// such.
std::optional<ReadTime> TimeIn(std::string_view year, std::string_view month, std::string_view day,
                               std::string_view clock);
// TEXT read as Coordinated Universal Time, in the local time of this machine. A day alone stays that day.
std::optional<ReadTime> LocalTimeOfUtc(std::string_view text);

std::optional<std::string> LocalTime(std::time_t time);
// The same of a number that a recorder has counted. Nothing before 1990: recorders without a clock count
// from 1904, 1970 or 1980.
std::optional<ReadTime> RecordedLocalTime(std::time_t time);

// Takes "AM" or "PM" from the beginning of TEXT, blanks of any width before it: 0 or 12 hours. Nothing
// without.
std::optional<int> TakeHalfOfDay(std::string_view& text);

#endif  // SERVICE_PROBE_TAKEN_TIME_H_
