// Error lines in the system log. Each begins with the name of the module and the line, in one of two forms;
// readers of the log match on both, so the form of a message is part of it.
//
// Macros, because the compiler then checks every format against its arguments and __LINE__ is the caller's.
#ifndef BASE_LOG_H_
#define BASE_LOG_H_

#include <syslog.h>

// The modules, under the names that the log has always used.
inline constexpr const char* kPhotoIndexSource = "photo_index.cpp";
inline constexpr const char* kPersonalPhotoSource = "personalphoto.cpp";
inline constexpr const char* kPhotoUtilSource = "photo_util.cpp";
inline constexpr const char* kPhotoDatabaseSource = "photo_database.cpp";

// "photo_index.cpp:120 Bad parameter."
#define LOG_COLON(source, format, ...) LOG_COLON_LINE(source, __LINE__, format __VA_OPT__(, ) __VA_ARGS__)
// The same with the line of a caller (a parameter "int caller = __builtin_LINE()"), for a step that logs what
// several operations share.
#define LOG_COLON_LINE(source, line, format, ...) \
  syslog(LOG_ERR, "%s:%d " format, source, static_cast<int>(line) __VA_OPT__(, ) __VA_ARGS__)
// "photo_database.cpp (120) Bad parameter."
#define LOG_PARENS(source, format, ...) \
  syslog(LOG_ERR, "%s (%d) " format, source, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
// For errors that never had a prefix.
#define LOG_BARE(format, ...) syslog(LOG_ERR, format __VA_OPT__(, ) __VA_ARGS__)
// The only notice.
#define LOG_NOTICE_COLON(source, format, ...) \
  syslog(LOG_INFO, "%s:%d " format, source, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#endif  // BASE_LOG_H_
