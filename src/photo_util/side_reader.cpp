#include "photo_util/side_reader.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "base/limits.h"
#include "base/log.h"
#include "base/one_event.h"
#include "base/text.h"
#include "photo_util/photo_dir.h"
#include "platform/files.h"

namespace {

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File OpenBeneath(const std::string& path) {
  const int descriptor = OpenSideFile(path);
  if (descriptor < 0) return nullptr;
  File file(fdopen(descriptor, "rb"));
  if (file == nullptr) close(descriptor);
  return file;
}

// Most files have no side files at all, and an event asks for eight: one look at the folder in which all of
// them lie answers for the event. Outside of events each is looked for.
struct SideFolder {
  PathOfEvent path;
  bool gone = false;
};
SideFolder side_folder;

bool SideFolderIsGone(const std::string& root, std::string_view folder) {
  if (OneEvent::Current() == OneEvent::kNone) return false;
  if (!side_folder.path.Is(folder)) {
    side_folder.gone = KAVOBeneathFolderGone(root.c_str(), std::string(folder).c_str()) != 0;
    side_folder.path.Note(folder);
  }
  return side_folder.gone;
}

}  // namespace

bool SideFileExists(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  return root && !SideFolderIsGone(*root, FolderOf(path)) &&
         KAVOBeneathExist(root->c_str(), path.c_str()) != 0;
}

void LookForSideFolderAnew() {
  side_folder.path.Forget();
}

std::optional<std::string> FindSideItem(std::string_view path, const char* item) {
  const std::string_view name = BaseName(path);
  const std::string_view folder = path.substr(0, path.size() - name.size());
  const std::string stem = std::string(folder) + "@eaDir/" + std::string(name) + "/KAVOPHOTO";
  for (const char* separator : {"_", ":"}) {
    std::string file = Cut(stem + separator + item, kPathSize);
    if (SideFileExists(file)) return file;
  }
  return std::nullopt;
}

int OpenSideFile(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  return root ? KAVOBeneathOpen(root->c_str(), path.c_str()) : -1;
}

SideLine ReadSideLine(const std::string& path, std::size_t size) {
  const File file = OpenBeneath(path);
  if (file == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "failed to open file %s.", path.c_str());
    return {SideRead::kOpenFailed, {}};
  }
  std::string line(size, '\0');
  if (std::fgets(line.data(), static_cast<int>(size), file.get()) == nullptr) {
    if (std::ferror(file.get()) == 0) return {SideRead::kDone, {}};
    LOG_COLON(kPhotoDatabaseSource, "fgets() failed.");
    return {SideRead::kReadFailed, {}};
  }
  return {SideRead::kDone, line.c_str()};
}

void RemoveSideFile(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  if (root) static_cast<void>(KAVOBeneathRemove(root->c_str(), path.c_str()));
}
