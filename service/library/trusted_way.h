// The way to a folder that somebody names.
#ifndef SERVICE_LIBRARY_TRUSTED_WAY_H_
#define SERVICE_LIBRARY_TRUSTED_WAY_H_

#include <string>

#include "common/outcome.h"

// The real path of FOLDER. Root is led there by no link of somebody who does not own it (KAVOBeneathRootGet);
// the message of the failure is the reason alone.
Outcome<std::string> WayTo(const std::string& folder);

#endif  // SERVICE_LIBRARY_TRUSTED_WAY_H_
