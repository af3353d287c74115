#include "base/json_value.h"

#include <cmath>
#include <concepts>
#include <cstring>
#include <limits>
#include <utility>

namespace {

const Json::Value& Member(const Json::Value& object, const char* key) {
  if (!object.isObject()) return Json::Value::nullSingleton();
  const Json::Value* member = object.find(key, key + std::strlen(key));
  return member != nullptr ? *member : Json::Value::nullSingleton();
}

template <std::integral Int>
Int Nearest(double value) {
  using Limits = std::numeric_limits<Int>;
  if (std::isnan(value)) return 0;
  // The upper bound itself may round up on its way to double, so an equal value is beyond it too.
  if (value >= static_cast<double>(Limits::max())) return Limits::max();
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  return static_cast<Int>(value);
}

template <std::integral Int, std::integral From>
Int Nearest(From value) {
  using Limits = std::numeric_limits<Int>;
  if (std::cmp_greater(value, Limits::max())) return Limits::max();
  if (std::cmp_less(value, Limits::min())) return Limits::min();
  return static_cast<Int>(value);
}

template <std::integral Int>
Int Integer(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  switch (value.type()) {
    case Json::intValue:
      return Nearest<Int>(value.asLargestInt());
    case Json::uintValue:
      return Nearest<Int>(value.asLargestUInt());
    case Json::realValue:
      return Nearest<Int>(value.asDouble());
    case Json::booleanValue:
      return value.asBool() ? 1 : 0;
    default:
      return 0;
  }
}

}  // namespace

std::string JsonText(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  if (!value.isConvertibleTo(Json::stringValue)) return {};
  std::string text = value.asString();
  if (const auto nul = text.find('\0'); nul != std::string::npos) text.resize(nul);
  return text;
}

int JsonInt(const Json::Value& object, const char* key) {
  return Integer<int>(object, key);
}
unsigned JsonUInt(const Json::Value& object, const char* key) {
  return Integer<unsigned>(object, key);
}
std::int64_t JsonInt64(const Json::Value& object, const char* key) {
  return Integer<std::int64_t>(object, key);
}
std::uint64_t JsonUInt64(const Json::Value& object, const char* key) {
  return Integer<std::uint64_t>(object, key);
}

double JsonDouble(const Json::Value& object, const char* key) {
  const Json::Value& value = Member(object, key);
  return value.isConvertibleTo(Json::realValue) ? value.asDouble() : 0;
}

int TruncatedToInt(double value) {
  return Nearest<int>(value);
}
