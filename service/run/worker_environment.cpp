#include "run/worker_environment.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 4> kPassedOn{"LANG=", "LANGUAGE=", "LC_", "TZ="};
constexpr const char* kPath = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
constexpr const char* kNoHome = "HOME=/";  // for one whom the system does not know

bool IsPassedOn(const std::string& variable) {
  return std::any_of(kPassedOn.begin(), kPassedOn.end(),
                     [&](std::string_view start) { return variable.starts_with(start); });
}

}  // namespace

std::vector<std::string> OwnEnvironment() {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  return variables;
}

std::vector<std::string> EnvironmentForAnother() {
  std::vector<std::string> variables = OwnEnvironment();
  std::erase_if(variables, [](const std::string& variable) { return !IsPassedOn(variable); });
  variables.emplace_back(kPath);
  variables.emplace_back(kNoHome);
  return variables;
}
