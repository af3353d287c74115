#ifndef SERVICE_CHANGES_CATALOGUE_FACTS_H_
#define SERVICE_CHANGES_CATALOGUE_FACTS_H_

#include <optional>
#include <string>

#include "changes/catalogue_store.h"

// Single facts about a library, each under its name: which folder and database its catalogue speaks of, which
// loss was seen. Used as its store is.
class CatalogueFacts {
 public:
  // STORE outlives it.
  explicit CatalogueFacts(CatalogueStore& store) : store_(store) {}

  // Nothing when it was never recorded.
  std::optional<std::string> Find(const std::string& name) const;
  // Changes are kept with those of the catalogue.
  void Put(const std::string& name, const std::string& value) const;
  void Remove(const std::string& name) const;

 private:
  CatalogueStore& store_;
};

#endif  // SERVICE_CHANGES_CATALOGUE_FACTS_H_
