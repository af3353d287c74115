// What the service knows of a library's files from earlier runs: one SQLite file in the state folder. It
// makes a run cheap and moves recognisable; losing it costs time, never data.
#ifndef SERVICE_CHANGES_CATALOGUE_H_
#define SERVICE_CHANGES_CATALOGUE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "changes/catalogue_entry.h"
#include "changes/catalogue_facts.h"
#include "changes/catalogue_store.h"
#include "common/outcome.h"

// An open catalogue: its entries. Used by one thread at a time; no other process writes it while the library
// is locked.
class Catalogue {
 public:
  // Opens FILE; one that is missing or no catalogue is made anew. The folder is there.
  static Outcome<Catalogue> Open(const std::string& file);
  Catalogue(Catalogue&&) noexcept = default;
  Catalogue& operator=(Catalogue&&) = delete;

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
  void RetryFailedFiles();
  // What is at and below FOLDER and has the device FROM is on the device TO.
  void MoveToDevice(const std::string& folder, std::uint64_t from, std::uint64_t to);
  void Commit() { store_->Commit(); }

  // Both as long as it is there.
  CatalogueFacts facts() { return CatalogueFacts(*store_); }
  CatalogueStore& store() { return *store_; }
  // The first thing that went wrong.
  const std::optional<Failure>& failure() const { return store_->failure(); }

 private:
  explicit Catalogue(std::unique_ptr<CatalogueStore> store) : store_(std::move(store)) {}

  std::unique_ptr<CatalogueStore> store_;
};

#endif  // SERVICE_CHANGES_CATALOGUE_H_
