#ifndef BASE_EXPORT_GUARD_H_
#define BASE_EXPORT_GUARD_H_

#include <exception>
#include <utility>

#include "base/log.h"

// Runs BODY for an exported entry point. Whatever escapes it (memory is out, an error of a library that
// nobody foresaw) is logged once and becomes FAILURE: the callers are C programs that nothing may unwind
// into.
template <typename Result, typename Body>
Result Guarded(const char* source, Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& error) {
    LOG_COLON(source, "Unexpected error: %s", error.what());
  } catch (...) {
    LOG_COLON(source, "Unexpected error.");
  }
  return failure;
}

#endif  // BASE_EXPORT_GUARD_H_
