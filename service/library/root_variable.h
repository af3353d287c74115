#ifndef SERVICE_LIBRARY_ROOT_VARIABLE_H_
#define SERVICE_LIBRARY_ROOT_VARIABLE_H_

// Names the state folder to the platform, here and in the processes started.
inline constexpr const char* kRootVariable = "LUMIVAULT_ROOT";

#endif  // SERVICE_LIBRARY_ROOT_VARIABLE_H_
