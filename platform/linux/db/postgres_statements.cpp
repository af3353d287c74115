#include "db/postgres_statements.h"

#include <cstdint>
#include <limits>
#include <utility>
#include <variant>

#include "db/statement_shape.h"

namespace {

// A whole number in a text has the type that it fits into, a fraction that of exact numbers. Without one it
// would take the type of what it meets, and the statement could mean something else. A literal text has none
// either.
const char* TypeOf(const StatementShape::Value& value) {
  if (std::holds_alternative<Fraction>(value)) return "::numeric";
  const auto* number = std::get_if<std::int64_t>(&value);
  if (number == nullptr) return "";
  return *number <= std::numeric_limits<std::int32_t>::max() ? "::int4" : "::int8";
}

std::string TextOf(StatementShape::Value&& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  if (auto* fraction = std::get_if<Fraction>(&value)) return std::move(fraction->text);
  return std::move(std::get<std::string>(value));
}

// With numbered parameters; a shape has no other question marks.
std::string Numbered(const StatementShape& shape) {
  std::string text;
  std::size_t number = 0;
  for (const char c : shape.text) {
    if (c != '?') {
      text += c;
      continue;
    }
    const char* type = TypeOf(shape.values[number]);
    text.append("$").append(std::to_string(++number)).append(type);
  }
  return text;
}

}  // namespace

std::optional<PostgresCall> PostgresStatements::Find(std::string_view sql) {
  std::optional<StatementShape> shape = ShapeOf(sql);
  if (!shape) return std::nullopt;
  const std::string text = Numbered(*shape);
  auto kept = kept_.find(text);
  if (kept == kept_.end()) {
    if (kept_.size() == kMostKeptStatements) return std::nullopt;
    kept = kept_.emplace(text, PostgresStatement{"lumivault_" + std::to_string(kept_.size())}).first;
  }
  if (!kept->second.usable) return std::nullopt;
  PostgresCall call{&kept->second, kept->first, {}};
  for (StatementShape::Value& value : shape->values) call.values.push_back(TextOf(std::move(value)));
  return call;
}
