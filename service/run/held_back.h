#ifndef SERVICE_RUN_HELD_BACK_H_
#define SERVICE_RUN_HELD_BACK_H_

#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "library/library.h"
#include "work/work_item.h"

// What a run leaves as it is because something could not be moved or made: touching it would cost rows.
class HeldBack {
 public:
  explicit HeldBack(Library library) : library_(std::move(library)) {}

  // Nothing may touch the rows of ITEM any more, nor lie in it where it is a folder.
  void Add(const WorkItem& item);
  // ITEM would meet rows that could not be moved, or would have no album to lie in.
  bool Holds(const WorkItem& item) const;
  // Takes out of DELETES what is held back, and the albums around it.
  void LeaveOut(std::vector<WorkItem>& deletes) const;
  // Rows are still under an old name.
  bool has_move() const { return has_move_; }

  // The rows of MOVE's photo follow it unread, since reading it crashed: WHY.
  void Rescue(const WorkItem& move, const std::string& why);
  std::vector<WorkItem> TakeRescues();
  // Why the file at PATH is rescued; "" where it is not.
  std::string CrashReason(const std::string& path) const;

 private:
  Library library_;
  std::unordered_set<std::string> paths_;          // of rows that must stay as they are
  std::unordered_set<std::string> without_album_;  // folders
  bool has_move_ = false;
  std::vector<WorkItem> rescues_;
  std::map<std::string, std::string> crashes_;  // path -> reason
};

#endif  // SERVICE_RUN_HELD_BACK_H_
