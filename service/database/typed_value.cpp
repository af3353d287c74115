#include "database/typed_value.h"

#include <cmath>
#include <utility>

#include "base/whole_number.h"
#include "common/display.h"

Json::Value TypedValue(const std::optional<std::string>& value, bool number) {
  if (!value) return {};
  if (number) {
    if (const auto integer = WholeNumber<Json::Int64>(*value)) return {*integer};
    if (const auto real = WholeNumber<double>(*value); real && std::isfinite(*real)) return {*real};
  }
  return {ValidUtf8(*value)};
}

void SetValue(Json::Value& object, const char* key, const std::optional<std::string>& value, bool number) {
  Json::Value typed = TypedValue(value, number);
  if (typed.isString()) {
    SetBytes(object, key, *value);
  } else {
    object[key] = std::move(typed);
  }
}
