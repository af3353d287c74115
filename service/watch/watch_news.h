#ifndef SERVICE_WATCH_WATCH_NEWS_H_
#define SERVICE_WATCH_WATCH_NEWS_H_

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "run/report.h"

enum class WatchEvent : std::uint8_t {
  kWatching,   // everything was looked at once, and what happens now is followed
  kRun,        // something was sent, or was to be
  kAway,       // the folder cannot be looked at; it is waited for
  kFailed,     // a run has failed, and is tried again
  kUnwatched,  // there is no room for more watches
  kOverflow,   // more happened than could be told: everything is looked at
};

// What there is to tell of a library that is watched.
struct WatchNews {
  WatchEvent event;
  std::string folder;
  std::string text;                   // for people, in one line; "" for a run
  std::optional<IndexReport> report;  // of a run
};

class WatchTeller {
 public:
  virtual ~WatchTeller() = default;
  virtual void Tell(const WatchNews& news) = 0;
};

// For people: "1 folder", "2 folders".
std::string Counted(std::size_t count, const std::string& what);
// "5 minutes", "90 seconds", "1.5 seconds".
std::string TextOf(std::chrono::milliseconds time);

// For people: a line, and for each file that failed one more.
std::string WatchText(const WatchNews& news);
// For programs: {event, library}, with the members of the report, or with `text`.
Json::Value WatchJson(const WatchNews& news);

#endif  // SERVICE_WATCH_WATCH_NEWS_H_
