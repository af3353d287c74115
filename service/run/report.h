#ifndef SERVICE_RUN_REPORT_H_
#define SERVICE_RUN_REPORT_H_

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "changes/survey_counts.h"
#include "common/outcome.h"
#include "library/library.h"

// What a run of `index` or `reindex` did.
struct IndexReport : SurveyCounts {
  Library library;
  std::size_t added = 0;         // files that were sent and are in the database now
  std::size_t folders = 0;       // folders that are albums now
  std::size_t moved = 0;         // files and folders whose rows bear their new names
  std::size_t deleted = 0;       // files and folders whose rows went with them
  std::size_t dropped_jobs = 0;  // background jobs that the queue had no room for
  std::chrono::milliseconds elapsed{};
  bool interrupted = false;
  // The loss brake: why what is not there was not deleted, and what it is. Empty when it did not hold.
  std::string withheld_reason;
  std::vector<std::string> withheld;
  // Hidden names below the library under which rows wait for a later run, which takes them from there.
  std::set<std::string> waiting;
  // Rows could not be moved: only a look at both names, the old one and the new one, brings them on.
  bool left_moves = false;

  // Anything was sent, well or not, or dropped.
  bool DidAnything() const {
    return added + folders + moved + deleted + failed.size() + notes.size() + dropped_jobs > 0;
  }
  // Something failed that no earlier run has told.
  bool HasNewFailure() const;
};

// What is wrong, with its exit status, for programs: {error, status}.
Json::Value FailureJson(const Failure& failure);

// For people: the counts, then a line for each failure and note. Those of earlier runs are counted, or have
// a line each when LISTS_KNOWN. Names are made visible.
std::string ReportText(const IndexReport& report, bool lists_known = false);

// For programs:
//   schema_version  2; grows when a member changes its meaning or goes
//   library         the folder
//   database        its database file
//   found, added, unchanged, moved, deleted, folders, seconds   numbers
//   skipped         {reason: number}
//   failed          [{path, reason, known}]; known is true when an earlier run told it and the file is
//                   as it was
//   notes           the same, on files that are in the database: what is lacking
//   dropped_jobs    only when there were some: background jobs that nobody took and the queue had no room for
//   interrupted     true when a signal stopped the run
//   error, status   only when the run ended before its time: why, and its exit status; the counts are
//                   those of what was done by then
//   withheld        only when the loss brake held: {reason, paths: [{path}]}, what was not deleted
// A path or text that is not UTF-8 has U+FFFD for the offending bytes; "path_base64" then holds it as it is.
Json::Value ReportJson(const IndexReport& report, const std::optional<Failure>& failure = std::nullopt);

#endif  // SERVICE_RUN_REPORT_H_
