#ifndef SERVICE_UNOPENED_H_
#define SERVICE_UNOPENED_H_

#include "catalogue.h"
#include "report.h"

// What cannot be opened is tried by every run, and no catalogue entry tells that it failed before. A run that
// came to its end leaves a list of such files and folders in the catalogue: what stands in the list of the
// run before with the same reason becomes known in REPORT.
void CompareUnopened(Catalogue& catalogue, IndexReport& report);

#endif  // SERVICE_UNOPENED_H_
