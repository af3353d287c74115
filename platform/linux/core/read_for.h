// Reading, as root, what other people may have put into a folder.
#ifndef PLATFORM_LINUX_CORE_READ_FOR_H_
#define PLATFORM_LINUX_CORE_READ_FOR_H_

#include <errno.h>
#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "core/file_identity.h"

using People = std::vector<uid_t>;

// What ACT opens with the rights of each of PEOPLE in turn, root's own aside; EPERM where one of them cannot
// be taken for. Another process than root's has its own rights alone.
template <typename Act>
FileDescriptor AsEach(const People& people, Act&& act) {
  constexpr uid_t kRoot = 0;
  FileDescriptor opened = act();
  for (const uid_t person : people) {
    if (!opened || geteuid() != kRoot || person == kRoot) continue;
    const FileIdentity as_person(person);
    errno = EPERM;
    opened = as_person ? act() : FileDescriptor();
  }
  return opened;
}

// The regular file FOUND (O_PATH), opened for reading; EINVAL for anything else.
FileDescriptor ReadRegular(const FileDescriptor& found);

// Root would read FOUND, which somebody may have given its name here who could not: it has several.
bool NeedsOwnersRights(const FileDescriptor& found);

// Reads FOUND, in FOLDER, as each of PEOPLE; where it is such a file, as the owners of FOLDER and of LIBRARY
// too. EPERM where one of them may not read it.
FileDescriptor ReadForAll(const FileDescriptor& found, const FileDescriptor& folder,
                          const FileDescriptor& library, People people);

// What root reads of RELATIVE below LIBRARY.
FileDescriptor ReadBelow(const FileDescriptor& library, const std::string& relative);

#endif  // PLATFORM_LINUX_CORE_READ_FOR_H_
