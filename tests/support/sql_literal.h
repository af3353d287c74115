#ifndef TESTS_SUPPORT_SQL_LITERAL_H_
#define TESTS_SUPPORT_SQL_LITERAL_H_

#include <string>

// TEXT as a literal of a statement of the test's own.
inline std::string SqlLiteral(const std::string& text) {
  std::string literal = "'";
  for (const char c : text) literal += c == '\'' ? "''" : std::string(1, c);
  return literal + "'";
}

#endif  // TESTS_SUPPORT_SQL_LITERAL_H_
