#ifndef PLATFORM_API_H_
#define PLATFORM_API_H_

// The platform is a shared library of its own; its functions are the only symbols it shows.
#define KAVO_API __attribute__((visibility("default")))

#endif  // PLATFORM_API_H_
