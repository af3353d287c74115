#include "changes/catalogue_facts.h"

#include "changes/catalogue_sql.h"

std::optional<std::string> CatalogueFacts::Find(const std::string& name) const {
  const auto rows = store_.Select({"value"}, kFact, name);
  return rows.empty() ? std::nullopt : rows.front().front();
}

void CatalogueFacts::Put(const std::string& name, const std::string& value) const {
  store_.Change(kPutFact, name, value);
}

void CatalogueFacts::Remove(const std::string& name) const {
  store_.Change(kRemoveFact, name);
}
