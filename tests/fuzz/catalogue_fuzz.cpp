// The catalogue's texts: an entry with any name, reason and stamp comes back as it was put in, a fact too;
// and whatever stands in a row that nobody of ours wrote reads as some entry.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "changes/catalogue_entry.h"
#include "changes/catalogue_sql.h"
#include "common/path_parts.h"
#include "files/fingerprint.h"
#include "fuzz/sqlite_oracle.h"
#include "library/generation.h"
#include "platform/database.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

template <typename... Values>
std::string Filled(const char* sql, const Values&... values) {
  const std::unique_ptr<char, FreeText> text(
      KAVODBEscapeStringEX3(KAVODB_TYPE_SQLITE, sql, values.c_str()...));
  Require(text != nullptr, "no statement");
  return text.get();
}

const SqliteOracle& Oracle() {
  static const SqliteOracle oracle(kMakeCatalogue);
  return oracle;
}

// A text of a column ends at its first NUL.
std::string Column(const SqliteOracle::Statement& row, int column) {
  return std::string(TextOf(row, column)).c_str();
}

void Put(const CatalogueEntry& entry) {
  const FileStamp& stamp = entry.stamp;
  const auto bits = [](std::uint64_t number) { return std::to_string(static_cast<std::int64_t>(number)); };
  const auto put = Oracle().PrepareOne(
      Filled(kPutEntry, FolderOf(entry.path), RecordedName(entry.path, entry.kind),
             bits(static_cast<std::uint64_t>(entry.kind)), bits(stamp.device), bits(stamp.inode),
             std::to_string(stamp.birth), std::to_string(stamp.size), std::to_string(stamp.modified),
             std::to_string(stamp.changed), entry.fingerprint, StateOf(entry.outcome), entry.reason));
  Require(sqlite3_step(put.get()) == SQLITE_DONE, "not put");
}

CatalogueEntry Taken(const CatalogueEntry& entry) {
  const auto row =
      Oracle().FirstRow(Filled(kOneEntry, FolderOf(entry.path), RecordedName(entry.path, entry.kind)));
  CatalogueEntry taken = EntryOf(Column(row, 0), Column(row, 1), Column(row, 2));
  Require(sqlite3_step(row.get()) == SQLITE_DONE, "two rows");
  return taken;
}

bool Same(const CatalogueEntry& a, const CatalogueEntry& b) {
  return a.path == b.path && a.kind == b.kind && a.stamp.SameObject(b.stamp) &&
         a.stamp.SameContent(b.stamp) && a.stamp.changed == b.stamp.changed &&
         a.fingerprint == b.fingerprint && a.outcome == b.outcome && a.reason == b.reason;
}

// What a run has made up: a path below the library, and whatever a worker has told.
void CheckEntry(std::string_view input) {
  CatalogueEntry entry;
  std::memcpy(&entry.stamp, input.data(), std::min(input.size(), sizeof(entry.stamp)));
  input.remove_prefix(std::min(input.size(), sizeof(entry.stamp)));
  const unsigned mark = input.empty() ? 0 : static_cast<unsigned char>(input.front());
  entry.kind = static_cast<ItemKind>(mark % 3);
  entry.outcome = AsKept(static_cast<ItemOutcome>(mark % 9));
  entry.path = TakePart(input);
  entry.fingerprint = TakePart(input);
  entry.reason = TakePart(input);
  if (entry.path.empty() || entry.path.ends_with('/') || entry.path.starts_with('/')) return;
  if (!IsFingerprint(entry.fingerprint)) return;
  Put(entry);
  Require(Same(Taken(entry), entry), "an entry changed", entry.path);
}

void CheckFact(std::string_view input) {
  const std::string name = TakePart(input);
  const std::string value = TakePart(input);
  const auto put = Oracle().PrepareOne(Filled(kPutFact, name, value));
  Require(sqlite3_step(put.get()) == SQLITE_DONE, "not put");
  Require(Column(Oracle().FirstRow(Filled(kFact, name)), 0) == value, "a fact changed", value);
  const Generation generation{name.size() * 0x9e3779b97f4a7c15U, value};
  Require(GenerationOf(TextOf(generation)) == generation, "a generation changed", value);
}

void CheckAnyRow(std::string_view input) {
  static_cast<void>(GenerationOf(std::string(input)));
  const std::string folder = TakePart(input);
  const std::string name = TakePart(input);
  const CatalogueEntry entry = EntryOf(folder, name, input);
  Require(entry.kind <= ItemKind::kVideo, "a kind of nothing", input);
  Require(entry.outcome == AsKept(entry.outcome), "an outcome that is not kept", input);
  Require(entry.path.size() <= folder.size() + 1 + name.size(), "a longer path", entry.path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = TextOf(data, size);
  CheckEntry(input);
  CheckFact(input);
  CheckAnyRow(input);
  (void)sqlite3_step(Oracle().PrepareOne(kRemoveEntries).get());
  (void)sqlite3_step(Oracle().PrepareOne("DELETE FROM fact").get());
  return 0;
}
