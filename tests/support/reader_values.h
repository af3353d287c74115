// Values as an independent reader of the shared photos gives them.
#ifndef TESTS_SUPPORT_READER_VALUES_H_
#define TESTS_SUPPORT_READER_VALUES_H_

#include <json/value.h>

#include <algorithm>
#include <sstream>
#include <string>

inline std::string Trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// As a number, or as text: "1.5", "00:00:01.5" with a comma or a point.
inline double Seconds(const Json::Value& value) {
  if (value.isNumeric()) return value.asDouble();
  double seconds = 0;
  std::string text = value.asString();
  std::replace(text.begin(), text.end(), ',', '.');
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, ':');) seconds = seconds * 60 + std::stod(part);
  return seconds;
}

#endif  // TESTS_SUPPORT_READER_VALUES_H_
