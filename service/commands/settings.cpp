#include "commands/settings.h"

#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "commands/command.h"
#include "common/display.h"

namespace {

struct Setting {
  const char* key;
  const char* option;    // in the commands that have it
  const char* variable;  // of the environment; null where it has none
  bool repeats;          // each line adds a value
};

constexpr std::array kSettings{
    Setting{"library", "folder", nullptr, true},
    Setting{"jobs", "--jobs", "LUMIVAULT_JOBS", false},
    Setting{"timeout", "--timeout", "LUMIVAULT_TIMEOUT", false},
    Setting{"worker_memory", "--worker-memory", "LUMIVAULT_WORKER_MEMORY", false},
    Setting{"settle", "--settle", "LUMIVAULT_SETTLE", false},
    Setting{"poll", "--poll", "LUMIVAULT_POLL", false},
    Setting{"events", "--events", "LUMIVAULT_EVENTS", false},
};

const Setting* FindSetting(const std::string& key) {
  const auto* const found = std::find_if(kSettings.begin(), kSettings.end(),
                                         [&](const Setting& setting) { return key == setting.key; });
  return found != kSettings.end() ? found : nullptr;
}

// Only a command that takes many folders takes those of the settings.
CLI::Option* OptionOf(CLI::App& command, const Setting& setting) {
  CLI::Option* option = command.get_option_no_throw(setting.option);
  return option != nullptr && setting.repeats && option->get_items_expected_max() <= 1 ? nullptr : option;
}

struct Given {
  std::vector<std::string> values;
  std::string origin;
};

Given Find(const Setting& setting, const SettingsFile& file) {
  const char* value = setting.variable != nullptr ? getenv(setting.variable) : nullptr;
  if (value != nullptr && *value != '\0') return {{value}, setting.variable};
  Given given;
  for (const SettingLine& line : file.settings) {
    if (line.key != setting.key) continue;
    given.values.push_back(line.value);
    given.origin = file.Place(line.line);
  }
  return given;
}

// Why OPTION does not take the VALUES; nothing when it has them now.
std::optional<std::string> Refusal(CLI::Option& option, const std::vector<std::string>& values) {
  try {
    for (const std::string& value : values) option.add_result(value);
    option.run_callback();
    return std::nullopt;
  } catch (const CLI::Error& error) {
    const std::string text = error.what();
    const std::string name = option.get_name() + ": ";
    return OnOneLine(text.starts_with(name) ? text.substr(name.size()) : text);
  }
}

// A command that has every option, each as it is when nothing was given.
class AllOptions {
 public:
  CLI::Option& Of(const Setting& setting) { return *command_.get_option(setting.option); }

 private:
  CLI::App command_;
  Runner runner_ = DefineWatch(command_);  // what the options are written to lives as long
};

std::optional<std::string> MistakeOf(const SettingLine& line, std::map<std::string, int>& lines) {
  const Setting* setting = FindSetting(line.key);
  if (setting == nullptr) return "unknown setting " + Visible(line.key);
  const auto [earlier, first] = lines.emplace(line.key, line.line);
  if (!first && !setting->repeats)
    return line.key + ": set in line " + std::to_string(earlier->second) + " already";
  if (setting->repeats && !line.value.starts_with('/'))
    return line.key + ": not the whole path of a folder, which begins with /";
  AllOptions options;
  const auto refusal = Refusal(options.Of(*setting), {line.value});
  return refusal ? std::optional(line.key + ": " + *refusal) : std::nullopt;
}

Failure FailureAt(const std::string& origin, const std::string& text) {
  return {ExitStatus::kConfiguration, Visible(origin) + ": " + text};
}

}  // namespace

std::vector<Failure> MistakesIn(const SettingsFile& file) {
  std::vector<SettingMistake> mistakes = file.mistakes;
  std::map<std::string, int> lines;
  for (const SettingLine& line : file.settings) {
    if (auto mistake = MistakeOf(line, lines)) mistakes.push_back({line.line, std::move(*mistake)});
  }
  std::stable_sort(mistakes.begin(), mistakes.end(),
                   [](const auto& one, const auto& other) { return one.line < other.line; });
  std::vector<Failure> failures;
  for (const SettingMistake& mistake : mistakes)
    failures.push_back(FailureAt(file.Place(mistake.line), mistake.text));
  return failures;
}

Outcome<Done> ApplySettings(CLI::App& command) {
  const bool concerns = std::any_of(kSettings.begin(), kSettings.end(), [&](const Setting& setting) {
    return OptionOf(command, setting) != nullptr;
  });
  if (!concerns) return Done{};
  const auto file = ReadCallersSettings();
  if (!file) return file.failure();
  if (const auto mistakes = MistakesIn(*file); !mistakes.empty()) return mistakes.front();
  for (const Setting& setting : kSettings) {
    CLI::Option* option = OptionOf(command, setting);
    if (option == nullptr || option->count() > 0) continue;
    const Given given = Find(setting, *file);
    if (given.values.empty()) continue;
    if (const auto refusal = Refusal(*option, given.values)) return FailureAt(given.origin, *refusal);
  }
  return Done{};
}

Outcome<std::vector<EffectiveSetting>> EffectiveSettings(const SettingsFile& file) {
  std::vector<EffectiveSetting> effective;
  AllOptions options;
  for (const Setting& setting : kSettings) {
    CLI::Option& option = options.Of(setting);
    option.capture_default_str();
    const Given given = Find(setting, file);
    if (given.values.empty() && !setting.repeats)
      effective.push_back({setting.key, option.get_default_str(), "default"});
    if (given.values.empty()) continue;
    if (const auto refusal = Refusal(option, given.values)) return FailureAt(given.origin, *refusal);
    for (const std::string& value : given.values) effective.push_back({setting.key, value, given.origin});
  }
  return effective;
}
