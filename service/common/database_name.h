#ifndef SERVICE_COMMON_DATABASE_NAME_H_
#define SERVICE_COMMON_DATABASE_NAME_H_

// The database of a personal library, in its folder.
inline constexpr const char* kDatabaseName = ".KAVOHGADB";

#endif  // SERVICE_COMMON_DATABASE_NAME_H_
