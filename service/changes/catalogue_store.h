#ifndef SERVICE_CHANGES_CATALOGUE_STORE_H_
#define SERVICE_CHANGES_CATALOGUE_STORE_H_

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/outcome.h"
#include "database/database_reader.h"

// The SQLite file of a catalogue: its statements, what keeps them, its log, and what went wrong first. Used
// by one thread at a time.
class CatalogueStore {
 public:
  // Opens FILE; one that is missing or no catalogue is made anew. The folder is there.
  static Outcome<std::unique_ptr<CatalogueStore>> Open(const std::string& file);
  CatalogueStore(const CatalogueStore&) = delete;
  CatalogueStore& operator=(const CatalogueStore&) = delete;
  ~CatalogueStore() { Commit(); }

  // A failure shows in failure(), and as no rows.
  template <typename... Values>
  std::vector<DatabaseReader::Row> Select(const DatabaseReader::Columns& columns, const char* sql,
                                          const Values&... values) {
    auto rows = database_.Query(columns, sql, values...);
    if (rows) return std::move(*rows);
    NoteFailure();
    return {};
  }
  // Kept by the next Commit, or when the object ends.
  template <typename... Values>
  void Change(const char* sql, const Values&... values) {
    BeginChanges();
    Select({}, sql, values...);
  }
  void Commit();
  // What is committed from here on survives a power cut.
  void MakeDurable();

  // Takes in the log beside the file and does without one until it is opened again, so that the file alone
  // may be renamed. Waits for others that have it open; false, with a failure, where they keep it.
  [[nodiscard]] bool EndLog();

  // The first thing that went wrong.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  CatalogueStore(std::string file, DatabaseReader database)
      : file_(std::move(file)), database_(std::move(database)) {}

  void BeginChanges();
  void NoteFailure();

  std::string file_;
  DatabaseReader database_;
  bool changing_ = false;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_CHANGES_CATALOGUE_STORE_H_
