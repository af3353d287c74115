#ifndef PLATFORM_LINUX_DB_NO_THROW_H_
#define PLATFORM_LINUX_DB_NO_THROW_H_

#include <utility>

// Runs BODY for a function that C programs call: when memory is out, or anything else is thrown, the result
// is FAILURE.
template <typename Result, typename Body>
Result NoThrow(Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return failure;
  }
}

#endif  // PLATFORM_LINUX_DB_NO_THROW_H_
