#ifndef PLATFORM_LINUX_DB_UNCHANGED_FILE_H_
#define PLATFORM_LINUX_DB_UNCHANGED_FILE_H_

#include <optional>
#include <string>

#include "core/file_state.h"

// A file that is read on the understanding that nobody writes it meanwhile.
class UnchangedFile {
 public:
  explicit UnchangedFile(std::string path);

  // Still the same file with the same times and size as when the object was made.
  [[nodiscard]] bool Holds() const;

 private:
  std::string path_;
  std::optional<FileState> at_first_;
};

#endif  // PLATFORM_LINUX_DB_UNCHANGED_FILE_H_
