#include "process/xmp_namespaces.h"

#include <exiv2/exiv2.hpp>
#include <exiv2/rwlock.hpp>
#include <new>

namespace {

using Prefixes = std::map<std::string, std::string>;

Prefixes Known() {
  const Exiv2::ScopedReadLock lock(Exiv2::XmpProperties::rwLock_);
  Prefixes known;
  for (const auto& [space, info] : Exiv2::XmpProperties::nsRegistry_) known.emplace(space, info.prefix_);
  return known;
}

bool Has(const Prefixes& prefixes, const Prefixes::value_type& entry) {
  const auto found = prefixes.find(entry.first);
  return found != prefixes.end() && found->second == entry.second;
}

void Restore(const Prefixes& before) {
  const Prefixes now = Known();
  for (const auto& entry : now) {
    if (!Has(before, entry)) Exiv2::XmpProperties::unregisterNs(entry.first);
  }
  for (const auto& entry : before) {
    if (!Has(now, entry)) Exiv2::XmpProperties::registerNs(entry.first, entry.second);
  }
}

}  // namespace

XmpNamespaces::XmpNamespaces() : before_(Known()) {}

XmpNamespaces::~XmpNamespaces() {
  try {
    Restore(before_);
  } catch (const std::bad_alloc&) {  // what is left is more than there should be
  }
}

std::map<std::string, std::string> XmpNamespaces::Added() const {
  Prefixes added;
  for (const auto& entry : Known()) {
    if (!Has(before_, entry)) added.emplace(entry.second, entry.first);
  }
  return added;
}
