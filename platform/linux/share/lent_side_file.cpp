#include "share/lent_side_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string_view>

#include "base/path_below.h"
#include "core/error.h"
#include "core/open_below.h"
#include "platform/share.h"
#include "platform/side_file_lending.h"

namespace {

struct LentSideFile {
  std::string path;
  std::string text;
};
thread_local std::optional<LentSideFile> lent;

// A pipe takes so much at once.
constexpr std::size_t kMostText = PIPE_BUF;

int Lend(const char* path, const char* item, std::string_view text) {
  std::array<char, PATH_MAX> side_file{};
  if (KAVOEAPath(0, path, item, side_file.data(), static_cast<int>(side_file.size()), 0) != 0) return -1;
  lent = LentSideFile{side_file.data(), std::string(text)};
  return 0;
}

}  // namespace

bool IsLentSideFile(const std::string& root, const std::string& path) {
  return lent.has_value() && lent->path == path && RelativeTo(root, path).has_value();
}

bool HoldsLentSideFile(std::string_view folder) {
  return lent.has_value() && LiesBelow(lent->path, folder);
}

FileDescriptor OpenLentSideFile() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return FileDescriptor();
  FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  const ssize_t written = write(writer.get(), lent->text.data(), lent->text.size());
  return written == static_cast<ssize_t>(lent->text.size()) ? std::move(reader) : FileDescriptor();
}

void TakeLentSideFile() {
  lent.reset();
}

int KAVOSideFileLend(const char* path, const char* item, const char* text) {
  TakeLentSideFile();
  return WithoutExceptions(-1, [&] {
    if (text != nullptr && std::string_view(text).size() <= kMostText) return Lend(path, item, text);
    RECORD_ERROR(EINVAL);
    return -1;
  });
}

void KAVOSideFileLendEnd() {
  TakeLentSideFile();
}
