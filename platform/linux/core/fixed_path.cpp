#include <errno.h>
#include <limits.h>
#include <stdlib.h>

#include "core/error.h"
#include "core/out_text.h"
#include "core/rooted_path.h"
#include "platform/files.h"

namespace {

// What lies below needs some room: the names of users are part of it.
constexpr std::size_t kLongestRoot = PATH_MAX - 1024;

}  // namespace

std::string RootedPath(std::string_view path) {
  const char* root = secure_getenv("LUMIVAULT_ROOT");
  std::string rooted = root != nullptr ? root : "";
  while (rooted.ends_with('/')) rooted.pop_back();
  if (rooted.size() > kLongestRoot) rooted.resize(PATH_MAX, '/');
  return rooted.append(path);
}

int KAVOFixedPathGet(const char* path, char* out, int size) {
  return WithoutExceptions(-1, [&] {
    const std::string rooted = path != nullptr ? RootedPath(path) : "";
    const bool fits = path != nullptr && rooted.size() < PATH_MAX;
    const int length = fits ? PutWhole(rooted, out, size) : -1;
    if (length < 0) RECORD_ERROR(path != nullptr ? ENAMETOOLONG : EINVAL);
    return length;
  });
}
