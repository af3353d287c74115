// The namespaces that the XMP parser knows beside its own.
//
// It has one list of them for the whole process: the program's own registrations, and what each file that it
// reads declares. A prefix of an earlier file would name the keys of a later one, and one that the program
// uses for another namespace would take its place.
#ifndef PLATFORM_XMP_NAMESPACES_H_
#define PLATFORM_XMP_NAMESPACES_H_

#include <exiv2/exiv2.hpp>
#include <exiv2/rwlock.hpp>
#include <map>
#include <string>

// Notes the list, and makes it at its end what it was: what a file has added is forgotten, what it has taken
// away comes back. What the toolkit below the parser remembers stays; no reading depends on it, since a file
// declares what it uses. One thread at a time has one.
class XmpNamespaces {
 public:
  XmpNamespaces() : before_(Known()) {}
  ~XmpNamespaces() {
    try {
      Restore();
    } catch (...) {  // what is left is more than there should be
    }
  }
  XmpNamespaces(const XmpNamespaces&) = delete;
  XmpNamespaces& operator=(const XmpNamespaces&) = delete;

  // What was added since the beginning: prefix -> namespace.
  [[nodiscard]] std::map<std::string, std::string> Added() const {
    Prefixes added;
    for (const auto& entry : Known()) {
      if (!Has(before_, entry)) added.emplace(entry.second, entry.first);
    }
    return added;
  }

 private:
  using Prefixes = std::map<std::string, std::string>;  // namespace -> prefix

  static Prefixes Known() {
    const Exiv2::ScopedReadLock lock(Exiv2::XmpProperties::rwLock_);
    Prefixes known;
    for (const auto& [space, info] : Exiv2::XmpProperties::nsRegistry_) known.emplace(space, info.prefix_);
    return known;
  }
  static bool Has(const Prefixes& prefixes, const Prefixes::value_type& entry) {
    const auto found = prefixes.find(entry.first);
    return found != prefixes.end() && found->second == entry.second;
  }
  void Restore() const {
    const Prefixes now = Known();
    for (const auto& entry : now) {
      if (!Has(before_, entry)) Exiv2::XmpProperties::unregisterNs(entry.first);
    }
    for (const auto& entry : before_) {
      if (!Has(now, entry)) Exiv2::XmpProperties::registerNs(entry.first, entry.second);
    }
  }

  const Prefixes before_;
};

#endif  // PLATFORM_XMP_NAMESPACES_H_
