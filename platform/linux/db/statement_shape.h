// What statements that differ in nothing but their values have in common.
#ifndef PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_
#define PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// A number with a point, as it stands in the statement.
struct Fraction {
  std::string text;

  bool operator==(const Fraction&) const = default;
};

struct StatementShape {
  using Value = std::variant<std::int64_t, std::string, Fraction>;

  std::string text;           // with "?" in the places of the values
  std::vector<Value> values;  // in their order
};

// The shape of SQL when it is one SELECT, INSERT, UPDATE or DELETE that means the same with its literals as
// parameters. Nothing when that is not certain: a LIKE is answered by an index only where its pattern stands
// in the text, a column is named after its literal. What follows ORDER, GROUP or LIMIT keeps its literals. A
// fraction is one only as the whole value of a column that is written, where FRACTION, with a "?" for its
// text, stands for it: read by other means than the engine's own it might get another last digit.
[[nodiscard]] std::optional<StatementShape> ShapeOf(std::string_view sql, std::string_view fraction = "?");

// So many a connection keeps prepared: the plug-in has some 40 that are asked again and again.
inline constexpr std::size_t kMostKeptStatements = 64;

#endif  // PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_
