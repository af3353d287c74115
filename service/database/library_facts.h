// What the service keeps about its runs in a library's own database: a table of its own beside those that
// other programs know, written in the transactions that it speaks of.
#ifndef SERVICE_DATABASE_LIBRARY_FACTS_H_
#define SERVICE_DATABASE_LIBRARY_FACTS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "common/outcome.h"
#include "database/database_reader.h"
#include "library/generation.h"

struct LibraryFacts {
  Generation generation;
  std::map<std::string, Generation> writers;  // the last one of each, of those that wrote last
  bool marked = false;                        // a full reindex has marked rows and has not come to its end
  std::optional<std::string> mounts;          // where rows lie on other file systems (mount_record.h)
};

inline constexpr const char* kFactTable = "lumivault_fact";
// The table is there; a run that writes makes it. False too when the database cannot be asked.
[[nodiscard]] bool HasFacts(DatabaseReader& database);
// No facts where there is no table of them.
Outcome<LibraryFacts> ReadFacts(DatabaseReader& database);

// These belong into an open transaction. Nothing or false: it cannot be kept.
std::optional<std::uint64_t> RaiseGeneration(DatabaseReader& database, const RunName& name);
[[nodiscard]] bool NoteMarked(DatabaseReader& database, bool marked);
[[nodiscard]] bool NoteMounts(DatabaseReader& database, const std::string& mounts);
// No row is marked any more.
[[nodiscard]] bool UnmarkRows(DatabaseReader& database);

#endif  // SERVICE_DATABASE_LIBRARY_FACTS_H_
