// The hidden names under which rows wait for the names of their files (moves.h). No event tells of such a
// name, so a look at a part of the library asks for them besides.
#ifndef SERVICE_CHANGES_PARKED_ROWS_H_
#define SERVICE_CHANGES_PARKED_ROWS_H_

#include <set>
#include <string>

#include "changes/catalogue.h"

// Below the library, as CATALOGUE has them.
std::set<std::string> ParkedNames(Catalogue& catalogue);
// NAMES may have rows from now on. They are kept with the catalogue's next changes, until it has no entry of
// that name any more.
void NoteParked(const std::set<std::string>& names, Catalogue& catalogue);

#endif  // SERVICE_CHANGES_PARKED_ROWS_H_
