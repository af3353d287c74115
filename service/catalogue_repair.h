#ifndef SERVICE_CATALOGUE_REPAIR_H_
#define SERVICE_CATALOGUE_REPAIR_H_

#include "catalogue.h"
#include "library.h"
#include "library_facts.h"
#include "outcome.h"

// Puts every row of the database of LIBRARY into CATALOGUE, as known from there alone: from the database and,
// where they lie, from what FACTS it has.
Outcome<Done> PutRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                      const LibraryFacts& facts);

// Makes CATALOGUE agree with the rows where a killed run has changed these and not noted it: rows that it
// does not know are put into it, and what it takes for sent and has no row is sent again.
Outcome<Done> AgreeWithRows(Catalogue& catalogue, DatabaseReader& database, const Library& library,
                            const LibraryFacts& facts);

#endif  // SERVICE_CATALOGUE_REPAIR_H_
