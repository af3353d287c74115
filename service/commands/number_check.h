#ifndef SERVICE_COMMANDS_NUMBER_CHECK_H_
#define SERVICE_COMMANDS_NUMBER_CHECK_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <sstream>
#include <string>

// Says, in CLI11's form, why a text is no number from LEAST to MOST.
template <typename Number>
std::function<std::string(const std::string&)> NumberFrom(Number least, Number most) {
  return [least, most](const std::string& text) -> std::string {
    Number number{};
    if (CLI::detail::lexical_cast(text, number) && number >= least && number <= most) return "";
    std::ostringstream why;
    why << "not a number from " << least << " to " << most;
    return why.str();
  };
}

#endif  // SERVICE_COMMANDS_NUMBER_CHECK_H_
