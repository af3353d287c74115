#ifndef SERVICE_REPORT_H_
#define SERVICE_REPORT_H_

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "library.h"

// What a run of `index` did.
struct IndexReport {
  struct Failed {
    std::string path;
    std::string reason;
    bool stored;  // damaged, but in the database as far as it could be read
  };

  Library library;
  std::size_t found = 0;    // photos and videos
  std::size_t added = 0;    // those of them that are in the database now, without any trouble
  std::size_t folders = 0;  // folders that are albums now
  std::map<std::string, std::size_t> skipped;  // reason -> files and folders left out
  std::vector<Failed> failed;                  // files and folders
  std::chrono::milliseconds elapsed{};
  bool interrupted = false;
};

// For people: the counts, then a line for each failure. Names are made visible.
std::string ReportText(const IndexReport& report);

// For programs:
//   schema_version  1; grows when a member changes its meaning or goes
//   library         the folder
//   database        its database file
//   found, added, folders, seconds   numbers
//   skipped         {reason: number}
//   failed          [{path, reason, stored}]; stored is true for a damaged file that is in the
//                   database as far as it could be read
//   interrupted     true when a signal stopped the run
// A path or text that is not UTF-8 has U+FFFD for the offending bytes; "path_base64" then holds it as it is.
Json::Value ReportJson(const IndexReport& report);

#endif  // SERVICE_REPORT_H_
