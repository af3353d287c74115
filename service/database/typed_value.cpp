#include "database/typed_value.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "common/display.h"

namespace {

template <typename Number>
std::optional<Number> Whole(const std::string& text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

Json::Value TypedValue(const std::optional<std::string>& value, bool number) {
  if (!value) return {};
  if (number) {
    if (const auto integer = Whole<Json::Int64>(*value)) return {*integer};
    if (const auto real = Whole<double>(*value); real && std::isfinite(*real)) return {*real};
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
