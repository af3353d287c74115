#include "changes/parked_rows.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* kFact = "parked rows";
// No path has it.
constexpr std::string_view kBetween = "//";

std::set<std::string> Recorded(Catalogue& catalogue) {
  std::set<std::string> names;
  const std::string fact = catalogue.facts().Find(kFact).value_or("");
  for (std::string_view rest = fact; !rest.empty();) {
    const std::size_t end = std::min(rest.find(kBetween), rest.size());
    names.emplace(rest.substr(0, end));
    rest.remove_prefix(std::min(end + kBetween.size(), rest.size()));
  }
  return names;
}

}  // namespace

std::set<std::string> ParkedNames(Catalogue& catalogue) {
  std::set<std::string> names = Recorded(catalogue);
  // Photos and videos stand under the same names.
  std::erase_if(names, [&](const std::string& name) { return !catalogue.Find(name, ItemKind::kPhoto); });
  return names;
}

void NoteParked(const std::set<std::string>& names, Catalogue& catalogue) {
  std::set<std::string> all = ParkedNames(catalogue);
  all.insert(names.begin(), names.end());
  std::string fact;
  for (const std::string& name : all) fact.append(fact.empty() ? "" : kBetween).append(name);
  catalogue.facts().Put(kFact, fact);
}
