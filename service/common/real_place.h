#ifndef SERVICE_COMMON_REAL_PLACE_H_
#define SERVICE_COMMON_REAL_PLACE_H_

#include <array>
#include <string>

#include "base/limits.h"
#include "platform/files.h"

// Where the appliance path PATH is in the state folder that the process uses; "" when that cannot be told.
inline std::string RealPlace(const char* path) {
  std::array<char, kPathSize> real{};
  return KAVOFixedPathGet(path, real.data(), kPathSize) < 0 ? "" : real.data();
}

#endif  // SERVICE_COMMON_REAL_PLACE_H_
