#ifndef PLATFORM_API_H_
#define PLATFORM_API_H_

// KAVO_API: the platform is a shared library of its own; its functions are the only symbols it shows.
#include "lumivault/export.h"

#endif  // PLATFORM_API_H_
