// The namespaces that the XMP parser knows beside its own.
//
// It has one list of them for the whole process: the program's own registrations, and what each file that it
// reads declares. A prefix of an earlier file would name the keys of a later one, and one that the program
// uses for another namespace would take its place.
#ifndef PLATFORM_LINUX_PROCESS_XMP_NAMESPACES_H_
#define PLATFORM_LINUX_PROCESS_XMP_NAMESPACES_H_

#include <map>
#include <string>

// Notes the list, and makes it at its end what it was: what a file has added is forgotten, what it has taken
// away comes back. What the toolkit below the parser remembers stays; no reading depends on it, since a file
// declares what it uses. One thread at a time has one.
class XmpNamespaces {
 public:
  XmpNamespaces();
  ~XmpNamespaces();
  XmpNamespaces(const XmpNamespaces&) = delete;
  XmpNamespaces& operator=(const XmpNamespaces&) = delete;

  // What was added since the beginning: prefix -> namespace.
  [[nodiscard]] std::map<std::string, std::string> Added() const;

 private:
  const std::map<std::string, std::string> before_;  // namespace -> prefix
};

#endif  // PLATFORM_LINUX_PROCESS_XMP_NAMESPACES_H_
