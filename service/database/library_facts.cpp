#include "database/library_facts.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/whole_number.h"
#include "database/library_facts_sql.h"

namespace {

constexpr std::string_view kOfWriter = "generation/";

std::uint64_t NumberOf(const std::optional<std::string>& text) {
  return static_cast<std::uint64_t>(LeadingNumber<std::int64_t>(text.value_or("")));
}

// Nothing when the database cannot be asked.
std::optional<bool> FindTable(DatabaseReader& database) {
  const auto found =
      database.Query({"name"}, database.on_server() ? kFactTableOfPostgres : kFactTableOfSqlite);
  return found ? std::optional(!found->empty()) : std::nullopt;
}

void Take(const DatabaseReader::Row& row, LibraryFacts& facts) {
  const std::string name = row[0].value_or("");
  if (name == "generation") facts.generation = {NumberOf(row[1]), row[2].value_or("")};
  if (name.starts_with(kOfWriter))
    facts.writers[name.substr(kOfWriter.size())] = {NumberOf(row[1]), row[2].value_or("")};
  if (name == "marked") facts.marked = true;
  if (name == "mounts") facts.mounts = row[2];
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
  for (const DatabaseReader::Row& row : *rows) Take(row, facts);
  return facts;
}

std::optional<std::uint64_t> RaiseGeneration(DatabaseReader& database, const RunName& name) {
  const auto raised = database.Query({"number"}, kRaiseGenerationSql, name.run, name.writer);
  if (!raised || raised->empty() || !database.Run(kForgetWritersSql)) return std::nullopt;
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
