// What every allocation of the worker goes through, those of the libraries that it loads included: one that
// is refused ends the process. Exiv2 goes on after some and gives half of a file's metadata for the whole of
// it, or waits for ever; the C library's own functions stay below. A sanitizer has its own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>

#include "work/out_of_memory.h"

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

}  // extern "C"

namespace {

void* OrEndProcess(void* block, bool wanted) {
  if (block == nullptr && wanted) _exit(kOutOfMemoryStatus);
  return block;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  return OrEndProcess(__libc_malloc(size), true);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return OrEndProcess(__libc_calloc(count, size), true);
}

void* realloc(void* block, std::size_t size) noexcept {
  return OrEndProcess(__libc_realloc(block, size), size != 0);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return OrEndProcess(__libc_memalign(alignment, size), true);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return OrEndProcess(__libc_memalign(alignment, size), true);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept {
  const bool is_power = alignment != 0 && (alignment & (alignment - 1)) == 0;
  if (!is_power || alignment % sizeof(void*) != 0) return EINVAL;
  *out = OrEndProcess(__libc_memalign(alignment, size), true);
  return 0;
}

}  // extern "C"

#endif
