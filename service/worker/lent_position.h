#ifndef SERVICE_WORKER_LENT_POSITION_H_
#define SERVICE_WORKER_LENT_POSITION_H_

#include <string>

#include "platform/side_file_lending.h"

// The plug-in takes the position of a video from a side file alone. While one of these lives there is one for
// the file PATH, in memory. It has the name that is asked for last, so that any side file on the disk comes
// first.
class LentPosition {
 public:
  // GPS is the text of the column, "" to lend nothing.
  LentPosition(const std::string& path, const std::string& gps) {
    if (!gps.empty()) static_cast<void>(KAVOSideFileLend(path.c_str(), "KAVOPHOTO:GPS", gps.c_str()));
  }
  ~LentPosition() { KAVOSideFileLendEnd(); }
  LentPosition(const LentPosition&) = delete;
  LentPosition& operator=(const LentPosition&) = delete;
};

#endif  // SERVICE_WORKER_LENT_POSITION_H_
