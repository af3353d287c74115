#include <errno.h>
#include <stdlib.h>

#include "core/error.h"
#include "core/out_text.h"
#include "core/rooted_path.h"
#include "platform/files.h"

std::string RootedPath(std::string_view path) {
  const char* root = secure_getenv("LUMIVAULT_ROOT");
  std::string rooted = root != nullptr ? root : "";
  while (rooted.ends_with('/')) rooted.pop_back();
  return rooted.append(path);
}

int KAVOFixedPathGet(const char* path, char* out, int size) {
  return Contained(-1, [&] {
    const int length = path != nullptr ? PutWhole(RootedPath(path), out, size) : -1;
    if (length < 0) RECORD_ERROR(path != nullptr ? ENAMETOOLONG : EINVAL);
    return length;
  });
}
