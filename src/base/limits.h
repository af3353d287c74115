// Capacities that bound values on their way between callers, files and columns. All count the terminator. A
// longer value is cut, which is visible outside and therefore fixed here.
#ifndef BASE_LIMITS_H_
#define BASE_LIMITS_H_

#include <cstddef>

inline constexpr std::size_t kPathSize = 4096;           // paths, statements, album names
inline constexpr std::size_t kContextPathSize = 4095;    // paths of the request context and of side files
inline constexpr std::size_t kUserNameSize = 492;        // user names
inline constexpr std::size_t kNameSize = 255;            // names and titles
inline constexpr std::size_t kConditionSize = 4223;      // "path = '...'" around a path
inline constexpr std::size_t kLikeConditionSize = 4224;  // "path like '...' " around a path
inline constexpr std::size_t kConfigSize = 128;          // values of the configuration table
inline constexpr std::size_t kLongConfigSize = 255;      // the same, for the people-tag switch
inline constexpr std::size_t kGpsSize = 64;              // the JSON text of a position
inline constexpr std::size_t kTimeSize = 32;             // time texts
inline constexpr int kListSize = 1024;                   // entries that string lists and hashes make room for

#endif  // BASE_LIMITS_H_
