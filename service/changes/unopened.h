#ifndef SERVICE_CHANGES_UNOPENED_H_
#define SERVICE_CHANGES_UNOPENED_H_

#include <vector>

#include "changes/catalogue.h"
#include "changes/survey_counts.h"
#include "library/library.h"

// What cannot be opened is tried by every run, and no catalogue entry tells that it failed before. A run over
// the differences that came to its end leaves a list of such files and folders in the catalogue: what stands
// in the list of the one before with the same reason becomes known in FAILED. A run over a PART of the
// library only adds to the list.
void CompareUnopened(Catalogue& catalogue, const Library& library, std::vector<FileProblem>& failed,
                     bool part);

#endif  // SERVICE_CHANGES_UNOPENED_H_
