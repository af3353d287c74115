#include "commands/settings.h"

#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "base/fixed_path.h"
#include "commands/command.h"
#include "common/display.h"
#include "library/state_root.h"
#include "setup/worker_memory.h"

namespace {

struct KnownSetting {
  const char* key;
  const char* option;    // in the commands that have it
  const char* variable;  // of the environment; null where it has none
  bool repeats;          // each line adds a value
};

constexpr std::array kSettings{
    KnownSetting{"library", "folder", nullptr, true},
    KnownSetting{"jobs", "--jobs", "LUMIVAULT_JOBS", false},
    KnownSetting{"timeout", "--timeout", "LUMIVAULT_TIMEOUT", false},
    KnownSetting{kWorkerMemorySetting, "--worker-memory", "LUMIVAULT_WORKER_MEMORY", false},
    KnownSetting{"settle", "--settle", "LUMIVAULT_SETTLE", false},
    KnownSetting{"poll", "--poll", "LUMIVAULT_POLL", false},
    KnownSetting{"events", "--events", "LUMIVAULT_EVENTS", false},
};

const KnownSetting* FindSetting(const std::string& key) {
  const auto* const found = std::find_if(kSettings.begin(), kSettings.end(),
                                         [&](const KnownSetting& setting) { return key == setting.key; });
  return found != kSettings.end() ? found : nullptr;
}

// Only a command that takes many folders takes those of the settings.
CLI::Option* OptionOf(CLI::App& command, const KnownSetting& setting) {
  CLI::Option* option = command.get_option_no_throw(setting.option);
  return option != nullptr && setting.repeats && option->get_items_expected_max() <= 1 ? nullptr : option;
}

// A value that is said somewhere, as it stands there.
struct SaidValue {
  std::string text;
  std::string origin;
};

// What the environment says of SETTING, else what FILE does.
std::vector<SaidValue> SaidOf(const KnownSetting& setting, const SettingsFile& file) {
  const char* value = setting.variable != nullptr ? getenv(setting.variable) : nullptr;
  if (value != nullptr && *value != '\0') return {{value, setting.variable}};
  std::vector<SaidValue> said;
  for (const SettingLine& line : file.settings) {
    if (line.key == setting.key) said.push_back({line.value, file.Place(line.line)});
  }
  return said;
}

// Gives OPTION the values; why it does not take them, else nothing.
std::optional<std::string> GiveValues(CLI::Option& option, const std::vector<SaidValue>& values) {
  try {
    option.clear();
    for (const SaidValue& value : values) option.add_result(value.text);
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
  CLI::Option& Of(const KnownSetting& setting) { return *command_.get_option(setting.option); }

 private:
  CLI::App command_;
  Runner runner_ = DefineWatch(command_);  // what the options are written to lives as long
};

// LINES has the first line of each key before this.
std::optional<std::string> MistakeOf(const SettingLine& line, AllOptions& options,
                                     std::map<std::string, int>& lines) {
  const KnownSetting* setting = FindSetting(line.key);
  if (setting == nullptr) return "unknown setting " + Visible(line.key);
  const auto [earlier, first] = lines.emplace(line.key, line.line);
  if (!first && !setting->repeats)
    return line.key + ": set in line " + std::to_string(earlier->second) + " already";
  if (setting->repeats && !line.value.starts_with('/'))
    return line.key + ": not the whole path of a folder, which begins with /";
  const auto refusal = GiveValues(options.Of(*setting), {{line.value, ""}});
  return refusal ? std::optional(line.key + ": " + *refusal) : std::nullopt;
}

Outcome<SettingsFile> ReadFaultless() {
  auto file = ReadCallersSettings();
  if (!file) return file;
  if (const auto mistakes = MistakesIn(*file); !mistakes.empty()) return FailureOf(mistakes.front(), *file);
  return file;
}

Failure RefusedValue(const std::string& origin, const std::string& why) {
  return {ExitStatus::kConfiguration, AboutFile(origin, why)};
}

}  // namespace

std::vector<SettingMistake> MistakesIn(const SettingsFile& file) {
  std::vector<SettingMistake> mistakes = file.mistakes;
  AllOptions options;
  std::map<std::string, int> lines;
  for (const SettingLine& line : file.settings) {
    if (auto mistake = MistakeOf(line, options, lines)) mistakes.push_back({line.line, std::move(*mistake)});
  }
  std::stable_sort(mistakes.begin(), mistakes.end(),
                   [](const auto& one, const auto& other) { return one.line < other.line; });
  return mistakes;
}

Failure FailureOf(const SettingMistake& mistake, const SettingsFile& file) {
  return RefusedValue(file.Place(mistake.line), mistake.text);
}

Outcome<Done> ApplySettings(CLI::App& command) {
  const bool concerns = std::any_of(kSettings.begin(), kSettings.end(), [&](const KnownSetting& setting) {
    return OptionOf(command, setting) != nullptr;
  });
  if (!concerns) return Done{};
  const auto file = ReadFaultless();
  if (!file) return file.failure();
  for (const KnownSetting& setting : kSettings) {
    CLI::Option* option = OptionOf(command, setting);
    if (option == nullptr || option->count() > 0) continue;
    const auto said = SaidOf(setting, *file);
    if (said.empty()) continue;
    if (const auto refusal = GiveValues(*option, said)) return RefusedValue(said.front().origin, *refusal);
  }
  return Done{};
}

Outcome<std::vector<EffectiveSetting>> EffectiveSettings() {
  const auto file = ReadFaultless();
  if (!file) return file.failure();
  std::vector<EffectiveSetting> effective;
  AllOptions options;
  for (const KnownSetting& setting : kSettings) {
    CLI::Option& option = options.Of(setting);
    const auto said = SaidOf(setting, *file);
    if (!said.empty()) {
      if (const auto refusal = GiveValues(option, said)) return RefusedValue(said.front().origin, *refusal);
    }
    option.capture_default_str();  // of what it holds now
    if (setting.repeats) {
      for (const SaidValue& value : said) effective.push_back({setting.key, value.text, value.origin});
    } else {
      const std::string held = option.get_default_str();  // of an optional nothing
      effective.push_back({setting.key, held.empty() && !said.empty() ? said.front().text : held,
                           said.empty() ? "" : said.front().origin});
    }
  }
  return effective;
}

Outcome<EffectiveSetting> EffectiveWorkerMemory(const std::string& root) {
  const auto settings = EffectiveSettings();
  if (!settings) return settings.failure();
  const auto found = std::find_if(settings->begin(), settings->end(), [](const EffectiveSetting& setting) {
    return setting.key == kWorkerMemorySetting;
  });
  if (!found->origin.empty()) return *found;
  // An older place than the file of settings, and each state folder has its own.
  if (const auto located = StateRoot::Locate(root)) {
    const auto memory = MemoryOfStateFolder(*located);
    if (!memory) return memory.failure();
    if (*memory)
      return EffectiveSetting{found->key, std::to_string(**memory), located->Place(kPackageSettings)};
  }
  return EffectiveSetting{found->key, std::to_string(kDefaultWorkerMemory), ""};
}
