#include "changes/catalogue_entry.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "base/whole_number.h"
#include "common/path_parts.h"

namespace {

constexpr std::array<std::pair<ItemOutcome, const char*>, 5> kStates{{{ItemOutcome::kStored, "sent"},
                                                                      {ItemOutcome::kDamaged, "damaged"},
                                                                      {ItemOutcome::kUnusable, "failed"},
                                                                      {ItemOutcome::kPartial, "unread"},
                                                                      {ItemOutcome::kPlanned, "planned"}}};

// The text up to the next blank, which goes too.
std::string_view NextWord(std::string_view& text) {
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(std::min(word.size() + 1, text.size()));
  return word;
}

ItemOutcome OutcomeOf(std::string_view text) {
  const auto found =
      std::find_if(kStates.begin(), kStates.end(), [&](const auto& one) { return one.second == text; });
  return found == kStates.end() ? ItemOutcome::kPartial : found->first;
}

std::optional<ItemKind> KindOf(std::string_view text) {
  const std::int64_t kind = SqliteNumber(text);
  const bool known = kind >= 0 && kind <= static_cast<std::int64_t>(ItemKind::kVideo);
  return known ? std::optional(static_cast<ItemKind>(kind)) : std::nullopt;
}

}  // namespace

ItemOutcome AsKept(ItemOutcome outcome) {
  switch (outcome) {
    case ItemOutcome::kStored:
    case ItemOutcome::kDamaged:
    case ItemOutcome::kUnusable:
    case ItemOutcome::kPartial:
    case ItemOutcome::kPlanned:
      return outcome;
    case ItemOutcome::kCrashed:
      return ItemOutcome::kUnusable;
    case ItemOutcome::kUnopened:
    case ItemOutcome::kNotKept:
    case ItemOutcome::kSkipped:
      break;
  }
  return ItemOutcome::kPartial;
}

std::string RecordedName(const std::string& path, ItemKind kind) {
  return kind == ItemKind::kFolder ? NameOf(path) + "/" : NameOf(path);
}

std::string StateOf(ItemOutcome outcome) {
  const auto found = std::find_if(kStates.begin(), kStates.end(),
                                  [&](const auto& one) { return one.first == AsKept(outcome); });
  return found == kStates.end() ? "" : found->second;
}

std::int64_t SqliteNumber(std::string_view text) {
  return LeadingNumber<std::int64_t>(text);
}

CatalogueEntry EntryOf(std::string_view folder, std::string_view name, std::string_view facts) {
  CatalogueEntry entry;
  entry.path = folder;
  if (!entry.path.empty()) entry.path += '/';
  entry.path += name;
  if (entry.path.ends_with('/')) entry.path.pop_back();
  const auto kind = KindOf(NextWord(facts));
  entry.kind = kind.value_or(ItemKind::kPhoto);
  entry.stamp.device = static_cast<std::uint64_t>(SqliteNumber(NextWord(facts)));
  entry.stamp.inode = static_cast<std::uint64_t>(SqliteNumber(NextWord(facts)));
  entry.stamp.birth = SqliteNumber(NextWord(facts));
  entry.stamp.size = SqliteNumber(NextWord(facts));
  entry.stamp.modified = SqliteNumber(NextWord(facts));
  entry.stamp.changed = SqliteNumber(NextWord(facts));
  const ItemOutcome outcome = OutcomeOf(NextWord(facts));
  entry.outcome = kind ? outcome : ItemOutcome::kPartial;
  entry.fingerprint = NextWord(facts);
  entry.reason = facts;
  return entry;
}
