// How the database of the shared tree is called on its server.
#ifndef BASE_SHARED_DATABASE_H_
#define BASE_SHARED_DATABASE_H_

inline constexpr const char* kSharedUser = "postgres";
inline constexpr const char* kSharedDatabase = "photo";

#endif  // BASE_SHARED_DATABASE_H_
