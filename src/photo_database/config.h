// The configuration table.
#ifndef PHOTO_DATABASE_CONFIG_H_
#define PHOTO_DATABASE_CONFIG_H_

#include <cstddef>
#include <optional>
#include <string>

// The value of KEY, cut to SIZE bytes (terminator included); nothing when there is none or it cannot be read.
std::optional<std::string> ConfigValue(const char* key, std::size_t size);

// True when the value of KEY is "on".
bool ConfigIsOn(const char* key);

#endif  // PHOTO_DATABASE_CONFIG_H_
