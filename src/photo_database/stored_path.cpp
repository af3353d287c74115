#include "photo_database/stored_path.h"

#include <cstring>

#include "lumivault/request_context.h"

const char* StoredPath(const char* path) {
  if (!HGAStatusIsHGARequest()) return path;
  const auto skip = static_cast<std::size_t>(HGAStatusUserPhotoPathLenGet()) + 1;
  return path + strnlen(path, skip);
}
