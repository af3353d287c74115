// A file system that has no files without a name, as long as `without_nameless_files` says so: opens go
// through a function in the place of the system's. For one source of a program.
#ifndef TESTS_PLATFORM_NAMELESS_FILES_H_
#define TESTS_PLATFORM_NAMELESS_FILES_H_

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/types.h>

namespace {
bool without_nameless_files = false;
}  // namespace

extern "C" __attribute__((visibility("default"))) int openat64(int folder, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (without_nameless_files && (flags & O_TMPFILE) == O_TMPFILE) {
    errno = EOPNOTSUPP;
    return -1;
  }
  using Function = int (*)(int, const char*, int, ...);
  static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "openat64"));
  return next(folder, path, flags, mode);
}

#endif  // TESTS_PLATFORM_NAMELESS_FILES_H_
