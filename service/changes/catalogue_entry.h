// One entry of the catalogue, and the texts in which it is kept.
#ifndef SERVICE_CHANGES_CATALOGUE_ENTRY_H_
#define SERVICE_CHANGES_CATALOGUE_ENTRY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "common/item_kind.h"
#include "files/file_stamp.h"
#include "work/item_outcome.h"

// What the catalogue keeps of OUTCOME: whether a file is as it was sent, is not worth sending again, or is to
// be sent: kStored, kDamaged, kUnusable, kPartial or kPlanned.
ItemOutcome AsKept(ItemOutcome outcome);

struct CatalogueEntry {
  std::string path;  // below the library
  ItemKind kind = ItemKind::kPhoto;
  FileStamp stamp;
  std::string fingerprint = {};
  ItemOutcome outcome = ItemOutcome::kStored;
  std::string reason = {};
  // What a scan finds gone or replaced: it was on another file system than its folder is now. It may be out
  // of reach with it.
  bool elsewhere = false;
};

// As they stand in the columns `name` and `state`.
std::string RecordedName(const std::string& path, ItemKind kind);
std::string StateOf(ItemOutcome outcome);

// The entry of a row, with FACTS as LUMIVAULT_ENTRY_COLUMNS joins them (catalogue_sql.h). What is missing or
// damaged in them reads as something that is to be sent again.
CatalogueEntry EntryOf(std::string_view folder, std::string_view name, std::string_view facts);

// An integer of SQLite's, which is signed; the bits of an unsigned one come back as they went in. 0 for what
// is none.
std::int64_t SqliteNumber(std::string_view text);

#endif  // SERVICE_CHANGES_CATALOGUE_ENTRY_H_
