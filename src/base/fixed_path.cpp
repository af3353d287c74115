#include "base/fixed_path.h"

#include <unistd.h>

#include "base/limits.h"
#include "platform/files.h"

std::string FixedPath(const char* path) {
  char buffer[kPathSize];
  return KAVOFixedPathGet(path, buffer, sizeof buffer) < 0 ? "" : buffer;
}

bool PackageEnabled() {
  return access(FixedPath(kPackageMarker).c_str(), F_OK) == 0;
}
