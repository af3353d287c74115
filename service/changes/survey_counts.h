#ifndef SERVICE_CHANGES_SURVEY_COUNTS_H_
#define SERVICE_CHANGES_SURVEY_COUNTS_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "work/item_outcome.h"

// A line of the report about a file or folder.
struct FileProblem {
  std::string path;
  std::string reason;
  bool known = false;  // an earlier run told it, and the file is as it was
  ItemOutcome outcome = ItemOutcome::kUnusable;
};

// What going through a library comes to.
struct SurveyCounts {
  std::size_t found = 0;                       // photos and videos
  std::size_t unchanged = 0;                   // files as they were in an earlier run
  std::map<std::string, std::size_t> skipped;  // reason -> files and folders left out
  std::vector<FileProblem> failed;             // files and folders
  std::vector<FileProblem> notes;              // on files that are in the database: what is lacking

  void Add(SurveyCounts&& others);
};

#endif  // SERVICE_CHANGES_SURVEY_COUNTS_H_
