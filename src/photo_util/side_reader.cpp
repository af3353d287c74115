#include "photo_util/side_reader.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "photo_util/photo_dir.h"
#include "platform/files.h"

namespace {

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File OpenBeneath(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  const int descriptor = root ? KAVOBeneathOpen(root->c_str(), path.c_str()) : -1;
  if (descriptor < 0) return nullptr;
  File file(fdopen(descriptor, "rb"));
  if (file == nullptr) close(descriptor);
  return file;
}

}  // namespace

bool SideFileExists(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  return root && KAVOBeneathExist(root->c_str(), path.c_str()) != 0;
}

SideLine ReadSideLine(const std::string& path, std::size_t size) {
  const File file = OpenBeneath(path);
  if (file == nullptr) return {SideRead::kOpenFailed, {}};
  std::string line(size, '\0');
  if (std::fgets(line.data(), static_cast<int>(size), file.get()) == nullptr) {
    return {std::ferror(file.get()) != 0 ? SideRead::kReadFailed : SideRead::kDone, {}};
  }
  return {SideRead::kDone, line.c_str()};
}

void RemoveSideFile(const std::string& path) {
  const auto root = PhotoRootIn(path.c_str());
  if (root) static_cast<void>(KAVOBeneathRemove(root->c_str(), path.c_str()));
}
