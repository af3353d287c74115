#ifndef SERVICE_WORKER_ROW_LOOKUP_H_
#define SERVICE_WORKER_ROW_LOOKUP_H_

#include <optional>
#include <string>

#include "database/database_reader.h"
#include "library/library.h"
#include "work/work_item.h"

// What the library's database has, seen from within the transaction that is open. Paths are absolute. What
// the plug-in answers to a rename or a delete tells little: the rows tell.
class RowLookup {
 public:
  explicit RowLookup(Library library) : library_(std::move(library)) {}

  // Nothing when the database cannot be asked.
  std::optional<bool> HasAlbum(const std::string& folder);
  std::optional<bool> HasRow(ItemKind kind, const std::string& path);
  std::optional<bool> Has(ItemKind kind, const std::string& path);
  // The text in "gps" of the row of the video at PATH, "" without.
  std::optional<std::string> PlaceOf(const std::string& path);

  // The key of the row of the file at PATH.
  std::string KeyOf(const std::string& path) const { return library_.FileKey(library_.Below(path)); }
  // Shares the transaction. Opened by the first question; one that could not be opened is tried again.
  DatabaseReader& Database();

 private:
  Library library_;
  std::optional<DatabaseReader> database_;
};

#endif  // SERVICE_WORKER_ROW_LOOKUP_H_
