// Conditions on photo_config.
#ifndef PHOTO_DATABASE_CONFIG_SQL_H_
#define PHOTO_DATABASE_CONFIG_SQL_H_

inline constexpr const char* kConfigByKey = "config_key = '@KAVO:VAR'";

#endif  // PHOTO_DATABASE_CONFIG_SQL_H_
