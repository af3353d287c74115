// Members of a JSON object as plain values. A caller's object may lack a member or hold another kind of value
// there: reading never throws and never changes the object (photo_util/inserting_reader.h does, for the two
// that are known to). A missing member, or one of a kind that has no such reading, is empty or 0; a number
// beyond the range asked for becomes the nearest value of that range.
#ifndef BASE_JSON_VALUE_H_
#define BASE_JSON_VALUE_H_

#include <json/value.h>

#include <cstdint>
#include <string>

// Up to the first NUL, as a C text; numbers and booleans read as their decimal or "true"/"false" text.
std::string JsonText(const Json::Value& object, const char* key);
int JsonInt(const Json::Value& object, const char* key);
unsigned JsonUInt(const Json::Value& object, const char* key);
std::int64_t JsonInt64(const Json::Value& object, const char* key);
std::uint64_t JsonUInt64(const Json::Value& object, const char* key);
double JsonDouble(const Json::Value& object, const char* key);

// VALUE without its fraction as an int: the nearest one when it does not fit, 0 for not-a-number.
int TruncatedToInt(double value);

#endif  // BASE_JSON_VALUE_H_
