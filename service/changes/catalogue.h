// What the service knows of a library's files from earlier runs: one SQLite file in the state folder. It
// makes a run cheap and moves recognisable; losing it costs time, never data.
#ifndef SERVICE_CHANGES_CATALOGUE_H_
#define SERVICE_CHANGES_CATALOGUE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "changes/catalogue_entry.h"
#include "common/outcome.h"
#include "database/database_reader.h"

// An open catalogue. Used by one thread at a time; no other process writes it while the library is locked.
class Catalogue {
 public:
  // Opens FILE; one that is missing or no catalogue is made anew. The folder is there.
  static Outcome<Catalogue> Open(const std::string& file);
  Catalogue(Catalogue&&) noexcept = default;
  Catalogue& operator=(Catalogue&&) = delete;
  ~Catalogue();

  // The files directly in FOLDER whose names come after AFTER ("" for all) in byte order, some at a time;
  // empty when there are no more. A failure of the file shows in failure().
  std::vector<CatalogueEntry> Files(const std::string& folder, const std::string& after);
  // What is recorded of one file or folder.
  std::optional<CatalogueEntry> Find(const std::string& path, ItemKind kind);
  // Every folder that is recorded or above something that is. One without an entry of its own (its album
  // could not be made, or has moved on before its files) comes as `unread`, with an empty stamp.
  std::vector<CatalogueEntry> Folders();
  std::size_t FileCount();

  // Changes are kept by the next Commit, or when the object ends.
  void Put(const CatalogueEntry& entry);
  void Remove(const std::string& path, ItemKind kind);
  // A folder whose rows are gone, with everything below it.
  void RemoveTree(const std::string& folder);
  void Clear();
  // What failed or was damaged counts as changed, though what was told of it stays known.
  void TryTroublesAgain();
  // What is at and below FOLDER and has the device FROM is on the device TO.
  void MoveToDevice(const std::string& folder, std::uint64_t from, std::uint64_t to);
  void Commit();
  // What is committed from here on survives a power cut.
  void MakeDurable();

  // Takes in the log beside the file and does without one until it is opened again, so that the file alone
  // may be renamed. Waits for others that have it open; false, with a failure, where they keep it.
  [[nodiscard]] bool EndLog();

  // Single facts about the library; nothing when it was never recorded.
  std::optional<std::string> Fact(const std::string& name);
  void PutFact(const std::string& name, const std::string& value);
  void RemoveFact(const std::string& name);

  // The first thing that went wrong.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  Catalogue(std::string file, DatabaseReader database)
      : file_(std::move(file)), database_(std::move(database)) {}

  template <typename... Values>
  std::vector<DatabaseReader::Row> Select(const DatabaseReader::Columns& columns, const char* sql,
                                          const Values&... values);
  template <typename... Values>
  void Change(const char* sql, const Values&... values);

  std::string file_;
  DatabaseReader database_;
  bool changing_ = false;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_CHANGES_CATALOGUE_H_
