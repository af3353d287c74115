#ifndef SERVICE_CHANGES_FOLDER_STAGES_H_
#define SERVICE_CHANGES_FOLDER_STAGES_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "work/work_item.h"

// Gives the moves and additions of folders their stages: none before the folder that it lies in, and none
// that takes the name of another album before that one has moved on. Where those would wait for each other in
// a ring, a move of it becomes an addition: that album stays under its name, the files move all the same.
// Used by one thread.
class FolderStages {
 public:
  explicit FolderStages(std::vector<WorkItem>& items);

  // Sorts the items by stage, parents first. The stage after the last one.
  std::uint32_t Assign();

 private:
  void BreakRings();
  // What is at GOAL has to wait for what is at PATH, which waits for GOAL.
  bool WaitsFor(const std::string& path, const std::string& goal) const;
  std::uint32_t StageOf(const std::string& path);

  std::vector<WorkItem>& items_;
  std::map<std::string, std::string> moves_;  // old path -> new path
  std::map<std::string, std::uint32_t> stages_;
  std::set<std::string> paths_;
};

#endif  // SERVICE_CHANGES_FOLDER_STAGES_H_
