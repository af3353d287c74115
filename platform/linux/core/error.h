// The last failure inside this library, one for each thread; RLIBCErrGet and its siblings tell it.
#ifndef PLATFORM_LINUX_CORE_ERROR_H_
#define PLATFORM_LINUX_CORE_ERROR_H_

#include <errno.h>

#include <new>
#include <utility>

// FILE is a text that stays. CODE is a value of errno.
void RecordError(int code, const char* file, int line);

// Notes CODE with the place where this stands.
#define RECORD_ERROR(code) RecordError(code, __FILE_NAME__, __LINE__)

// Runs BODY for an entry point of this library; C programs call it and nothing may unwind into them. What
// escapes BODY becomes the last error and FAILURE.
template <typename Result, typename Body>
Result WithoutExceptions(Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    RECORD_ERROR(ENOMEM);
  } catch (...) {
    RECORD_ERROR(ENOTRECOVERABLE);
  }
  return failure;
}

#endif  // PLATFORM_LINUX_CORE_ERROR_H_
