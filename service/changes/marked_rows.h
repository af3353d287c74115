#ifndef SERVICE_CHANGES_MARKED_ROWS_H_
#define SERVICE_CHANGES_MARKED_ROWS_H_

#include <cstddef>
#include <vector>

#include "common/outcome.h"
#include "library/library.h"
#include "work/work_item.h"

// What a full reindex has marked and not met again: what its sweep would delete.
struct MarkedRows {
  std::vector<WorkItem> gone;  // deletes of what is not there for sure, folders last
  std::size_t kept = 0;        // marked, but there, or nobody can tell
  std::size_t rows = 0;        // photos and videos of the library
};

Outcome<MarkedRows> FindMarkedRows(const Library& library);

#endif  // SERVICE_CHANGES_MARKED_ROWS_H_
