// With whose rights a process looks at people's files. Started by root for the library of somebody else, it
// could list folders and look at names that he may not, and what it finds goes into his database.
#ifndef SERVICE_FILES_LOOKING_H_
#define SERVICE_FILES_LOOKING_H_

#include <sys/types.h>

#include <optional>

#include "common/outcome.h"

// Why a link is left out behind which its owner could not look himself.
inline constexpr const char* kRefusedLink = "link to a file that its owner may not read";

// All threads look with the rights of USER from now on, or with their own again; set while there is one
// thread. A failure where that cannot be.
Outcome<Done> LookAs(std::optional<uid_t> user);

// The same for as long as one lives; then as before. A failure shows in each Looking.
class LookingAs {
 public:
  explicit LookingAs(std::optional<uid_t> user);
  ~LookingAs();
  LookingAs(const LookingAs&) = delete;
  LookingAs& operator=(const LookingAs&) = delete;

 private:
  std::optional<uid_t> before_;
};

// This thread looks, as long as one lives. It is there around what looks at names or opens people's files,
// and around nothing that is the service's own: catalogue, database, state folder.
class Looking {
 public:
  Looking();
  ~Looking();
  Looking(const Looking&) = delete;
  Looking& operator=(const Looking&) = delete;

  // False, with errno, where the rights could not be taken on; nothing may be looked at then.
  explicit operator bool() const { return may_look_; }

 private:
  bool taken_ = false;
  bool may_look_ = true;
};

#endif  // SERVICE_FILES_LOOKING_H_
