#ifndef SERVICE_CHANGES_CATALOGUE_REPAIR_H_
#define SERVICE_CHANGES_CATALOGUE_REPAIR_H_

#include "changes/catalogue.h"
#include "common/outcome.h"
#include "database/library_facts.h"
#include "library/library.h"

// Puts every row of the database of LIBRARY into CATALOGUE, as known from there alone: from the database and,
// where they lie, from what FACTS it has.
Outcome<Done> FillFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                           const LibraryFacts& facts);

// Makes CATALOGUE agree with rows that others, or a killed run that has not noted it, have changed since:
// rows that it does not know are put into it, and what it takes for sent and has no row is sent again.
Outcome<Done> RepairFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                             const LibraryFacts& facts);

// As FillFromRows, where CATALOGUE speaks of another state of the rows: of what has one it keeps the object
// and the content that it knows, so that moves are found; all of it is sent again.
Outcome<Done> RestartFromRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                              const LibraryFacts& facts);

#endif  // SERVICE_CHANGES_CATALOGUE_REPAIR_H_
