// Put in front of the system's allocation by LD_PRELOAD: no memory in large pieces. In a library of its own:
// a sanitizer, which replaces malloc as well, cannot begin behind it.
#include <errno.h>

#include <cstddef>

namespace {

constexpr std::size_t kLargePiece = std::size_t{32} << 20;

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  if (size < kLargePiece) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

}  // extern "C"
