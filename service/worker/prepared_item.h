#ifndef SERVICE_WORKER_PREPARED_ITEM_H_
#define SERVICE_WORKER_PREPARED_ITEM_H_

#include <json/value.h>

#include <string>

#include "library/library.h"
#include "work/work_item.h"

// An item whose file, where it needs one, was read.
struct PreparedItem {
  Json::Value record;
  bool storable = true;
  bool refused = false;  // a link that is not followed
  bool readable = true;  // it could be opened
  bool late = false;     // it could not be read to its end in time
  std::string trouble;   // why it is not, or what is wrong with it all the same
  std::string fingerprint;
  std::string title;  // that the photo carries itself
  std::string place;  // of a video
};

// The file itself has to be read for ITEM.
bool ReadsFile(const WorkItem& item);

// Reads the file of ITEM, which needs it, and keeps what the plug-in will ask about it. No database is asked.
PreparedItem ReadItem(const WorkItem& item, const Library& library);

#endif  // SERVICE_WORKER_PREPARED_ITEM_H_
