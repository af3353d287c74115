// A whole library as lines of JSON, in one form for all libraries with the same content.
#ifndef SERVICE_ANSWERS_LIBRARY_EXPORT_H_
#define SERVICE_ANSWERS_LIBRARY_EXPORT_H_

#include <functional>
#include <string>

#include "common/outcome.h"
#include "database/database_reader.h"

// Takes one object, without a line end; false ends the export.
using LineWriter = std::function<bool(const std::string& line)>;

// Gives WRITE one object a row of every table, sorted by table, then key, then text, with its members sorted
// by name. What ids stand for is in members beside them; the ids themselves, and times that tell when a row
// was written, are there only WITH_IDS. A value that is not UTF-8 has its bytes in a member NAME_base64.
//
// The rows are those of one moment. Memory does not grow with their number. False: WRITE ended it.
Outcome<bool> ExportLibrary(DatabaseReader& database, bool with_ids, const LineWriter& write);

#endif  // SERVICE_ANSWERS_LIBRARY_EXPORT_H_
