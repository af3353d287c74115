// Side files as the other tools read them: one line of text, consumed by its first reading.
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "photo_util/side_reader.h"
#include "platform/share.h"

namespace {

// The first line of SIDE_FILE into BUF, then the side file goes. False when it could not be read; it then
// stays.
[[nodiscard]] bool ConsumeLine(const char* side_file, char* buf, std::size_t size) {
  const SideLine line = ReadSideLine(side_file, size);
  if (line.outcome == SideRead::kOpenFailed) return false;
  CopyText(buf, size, line.text);
  if (line.outcome == SideRead::kReadFailed) return false;
  RemoveSideFile(side_file);
  return true;
}

int ReadItem(const char* file, const char* name, char* buf, std::size_t size) {
  char side_file[kContextPathSize] = "";
  if (KAVOEAPath(0, file, name, side_file, sizeof side_file, 0) != 0) {
    LOG_COLON(kPhotoDatabaseSource, "KAVOEAPath() failed.");
    return -1;
  }
  if (!SideFileExists(side_file) || !ConsumeLine(side_file, buf, size)) return -1;
  return buf[0] != '\n' && buf[0] != '\0' ? 0 : -1;
}

}  // namespace

int GetFileContentInEA(const char* file, const char* name, char* buf, int size) {
  if (file == nullptr || name == nullptr || buf == nullptr || size <= 0) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameters.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return ReadItem(file, name, buf, static_cast<std::size_t>(size)); });
}
