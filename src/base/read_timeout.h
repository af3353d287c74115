#ifndef BASE_READ_TIMEOUT_H_
#define BASE_READ_TIMEOUT_H_

#include <stdlib.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "base/whole_number.h"

// So many milliseconds may one question of a command that only reads take. It is in the environment, as the
// state folder's place is, since the databases are opened below interfaces that know nothing of commands.
inline constexpr const char* kReadTimeout = "LUMIVAULT_READ_TIMEOUT";

// Nothing where there is no limit. Not while another thread changes the environment.
inline std::optional<std::chrono::milliseconds> ReadTimeout() {
  const char* set = secure_getenv(kReadTimeout);
  const auto limit = set != nullptr ? LeadingNumber<std::int64_t>(set) : 0;
  return limit > 0 ? std::optional(std::chrono::milliseconds(limit)) : std::nullopt;
}

#endif  // BASE_READ_TIMEOUT_H_
