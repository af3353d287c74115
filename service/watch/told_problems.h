#ifndef SERVICE_WATCH_TOLD_PROBLEMS_H_
#define SERVICE_WATCH_TOLD_PROBLEMS_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "changes/survey_counts.h"

// Which problems of files somebody who watches was told: one that is met again by each run is news once. Used
// by one thread.
class ToldProblems {
 public:
  // Those among FOUND that were told become known. What was LOOKED_AT, by its absolute path, and is not among
  // them is forgotten.
  void Compare(std::vector<FileProblem>& found, const std::function<bool(const std::string&)>& looked_at);

 private:
  std::map<std::string, std::string> reasons_;  // path -> reason
};

#endif  // SERVICE_WATCH_TOLD_PROBLEMS_H_
