#include "library_facts.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "library_facts_sql.h"

namespace {

constexpr int kDecimal = 10;

std::uint64_t NumberOf(const std::optional<std::string>& text) {
  return std::strtoull(text.value_or("0").c_str(), nullptr, kDecimal);
}

// Nothing when the database cannot be asked.
std::optional<bool> FindTable(DatabaseReader& database) {
  const auto found =
      database.Query({"name"}, database.on_server() ? kFactTableOfPostgres : kFactTableOfSqlite);
  return found ? std::optional(!found->empty()) : std::nullopt;
}

}  // namespace

bool HasFacts(DatabaseReader& database) {
  return FindTable(database).value_or(false);
}

Outcome<LibraryFacts> ReadFacts(DatabaseReader& database) {
  const auto present = FindTable(database);
  if (!present) return Unreadable(database);
  LibraryFacts facts;
  if (!*present) return facts;
  const auto rows = database.Query({"name", "number", "value"}, kFactsSql);
  if (!rows) return Unreadable(database);
  for (const DatabaseReader::Row& row : *rows) {
    if (row[0] == "generation") facts.generation = {NumberOf(row[1]), row[2].value_or("")};
    if (row[0] == "marked") facts.marked = true;
    if (row[0] == "mounts") facts.mounts = row[2];
  }
  return facts;
}

std::optional<std::uint64_t> RaiseGeneration(DatabaseReader& database, const std::string& writer) {
  const auto raised = database.Query({"number"}, kRaiseGenerationSql, writer);
  if (!raised || raised->size() != 1) return std::nullopt;
  return NumberOf(raised->front().front());
}

bool NoteMarked(DatabaseReader& database, bool marked) {
  return database.Run(marked ? kNoteMarkedSql : kForgetMarkedSql);
}

bool NoteMounts(DatabaseReader& database, const std::string& mounts) {
  return database.Query({}, kNoteMountsSql, mounts).has_value();
}

bool UnmarkRows(DatabaseReader& database) {
  constexpr std::array kTables{kUnmarkPhotosSql, kUnmarkVideosSql, kUnmarkConvertedSql, kUnmarkAlbumsSql};
  return std::all_of(kTables.begin(), kTables.end(), [&](const char* sql) { return database.Run(sql); });
}
