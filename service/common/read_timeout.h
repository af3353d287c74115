#ifndef SERVICE_COMMON_READ_TIMEOUT_H_
#define SERVICE_COMMON_READ_TIMEOUT_H_

// So many milliseconds may one question of a command that only reads take. The platform reads it from the
// environment, as it does the state folder's place.
inline constexpr const char* kReadTimeout = "LUMIVAULT_READ_TIMEOUT";

#endif  // SERVICE_COMMON_READ_TIMEOUT_H_
