// Replaces the memory of the whole program that includes this, in one of its files: an allocation fails where
// the test says so.
#ifndef TESTS_SUPPORT_FAILING_MEMORY_H_
#define TESTS_SUPPORT_FAILING_MEMORY_H_

#include <cstdlib>
#include <new>

// Whether there is no memory for SIZE bytes; null: there always is.
inline bool (*memory_is_short)(std::size_t size) = nullptr;

// NOLINTBEGIN: no inline function may replace them. Where the compiler inlines one of them alone it sees a
// malloc freed by the wrong function.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  void* memory = memory_is_short != nullptr && memory_is_short(size) ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t& /*none*/) noexcept {
  return memory_is_short != nullptr && memory_is_short(size) ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
// NOLINTEND

#endif  // TESTS_SUPPORT_FAILING_MEMORY_H_
