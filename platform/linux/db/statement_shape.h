// What statements that differ in nothing but their values have in common.
#ifndef PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_
#define PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

struct StatementShape {
  using Value = std::variant<std::int64_t, std::string>;

  std::string text;           // with "?" in the places of the values
  std::vector<Value> values;  // in their order
};

// The shape of SQL when it is one SELECT, INSERT, UPDATE or DELETE that means the same with its literals as
// parameters. Nothing when that is not certain: a LIKE is answered by an index only where its pattern stands
// in the text, a column is named after its literal, a fraction may be read to another last digit. What
// follows ORDER, GROUP or LIMIT keeps its literals.
[[nodiscard]] std::optional<StatementShape> ShapeOf(std::string_view sql);

#endif  // PLATFORM_LINUX_DB_STATEMENT_SHAPE_H_
