#include "common/atomic_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "base/file_descriptor.h"
#include "base/read_on.h"
#include "common/error_text.h"

namespace {

bool WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Writes a new file beside PATH and moves it there.
bool Replace(const std::string& path, std::string_view content) {
  std::string temporary = path + ".XXXXXX";
  FileDescriptor file(mkostemp(temporary.data(), O_CLOEXEC));
  if (!file) return false;
  const bool written =
      WriteAll(file.get(), content) && fsync(file.get()) == 0 && rename(temporary.c_str(), path.c_str()) == 0;
  if (written) return true;
  const int error = errno;
  unlink(temporary.c_str());
  errno = error;
  return false;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return std::nullopt;
  std::string content;
  if (!ReadOn(file.get(), content.max_size(), content)) return std::nullopt;
  return content;
}

Outcome<Done> WriteWholeFile(const std::string& path, std::string_view content) {
  if (ReadWholeFile(path) == content) return Done{};
  if (Replace(path, content)) return Done{};
  return Failure{ExitStatus::kConfiguration, path + ": cannot be written: " + ErrorText(errno)};
}
