#ifndef SERVICE_CHANGES_LOSS_BRAKE_H_
#define SERVICE_CHANGES_LOSS_BRAKE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "changes/catalogue.h"
#include "changes/survey.h"

// Whether rows may be deleted because files are not there.
struct LossVerdict {
  bool holds = false;
  bool is_meant = false;  // somebody has accepted the loss, or a second scan has found it
  std::string reason;     // why it holds
};

struct LossQuestion {
  std::vector<std::string> gone;  // files below the library
  std::size_t gone_folders = 0;   // they do not count as many, but are not out of reach any less
  std::size_t recorded = 0;       // files that the catalogue knows
  bool root_changed = false;
  bool root_empty = false;
  bool accepted = false;      // somebody has said that the loss is meant
  bool is_part = false;       // only a part of the library was looked at: what was remembered stays as it is
  const char* fact = "loss";  // under which the catalogue remembers it: each kind of look has its own
};

// More than a tenth of the library and more than a hundred files need somebody who accepts that, or a second
// scan an hour later that finds the very same files gone; CATALOGUE remembers the first until a scan finds
// something else: the same disk may be away twice. What went within the last hour counts with what is gone
// now (recent_losses.h). A look at a part of the library is no scan in this sense. A folder that is empty or
// another one is never believed.
LossVerdict AskLossBrake(const LossQuestion& question, Catalogue& catalogue);

#endif  // SERVICE_CHANGES_LOSS_BRAKE_H_
