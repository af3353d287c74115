#ifndef SERVICE_WORKER_PEOPLE_MERGE_PAUSE_H_
#define SERVICE_WORKER_PEOPLE_MERGE_PAUSE_H_

#include "database/database_reader.h"

// Keeps the plug-in from making the people of a photo those that its file names, for the calls until the end.
// People whom somebody named by hand are in no file: a photo whose content is the same has been merged when
// it was first saved, and must not lose them because it moved.
//
// Begin and end lie in one transaction, so nobody else ever sees the switch off. No destructor ends it: where
// something is thrown the transaction is rolled back, and the switch with it.
class PeopleMergePause {
 public:
  explicit PeopleMergePause(DatabaseReader& database);
  // False when the database cannot be asked or changed.
  bool begun() const { return begun_; }
  // False when it could not be switched on again: the transaction must not be committed.
  [[nodiscard]] bool End();

 private:
  DatabaseReader& database_;
  bool paused_ = false;
  bool begun_ = false;
};

#endif  // SERVICE_WORKER_PEOPLE_MERGE_PAUSE_H_
