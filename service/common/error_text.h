#ifndef SERVICE_COMMON_ERROR_TEXT_H_
#define SERVICE_COMMON_ERROR_TEXT_H_

#include <string>
#include <system_error>

// What errno value ERROR means, in words.
inline std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

#endif  // SERVICE_COMMON_ERROR_TEXT_H_
