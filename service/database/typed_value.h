#ifndef SERVICE_DATABASE_TYPED_VALUE_H_
#define SERVICE_DATABASE_TYPED_VALUE_H_

#include <json/value.h>

#include <optional>
#include <string>

// A column's value for JSON: null, a number where the column holds numbers and the text is one, else the text
// in valid UTF-8.
Json::Value TypedValue(const std::optional<std::string>& value, bool number);
// Sets OBJECT[KEY] to that value; a text that is not UTF-8 has its bytes in OBJECT[KEY_base64] besides.
void SetValue(Json::Value& object, const char* key, const std::optional<std::string>& value, bool number);

#endif  // SERVICE_DATABASE_TYPED_VALUE_H_
