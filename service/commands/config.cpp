#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "base/fixed_path.h"
#include "commands/command.h"
#include "commands/settings.h"
#include "common/display.h"
#include "library/state_root.h"
#include "work/worker_memory.h"

namespace {

constexpr int kSchemaVersion = 1;
constexpr const char* kDefault = "default";

struct Options {
  std::string root;
  std::string checked;  // a file
  bool json = false;
};

// One that the state folder has is older than the file of settings, and still holds where nothing else does.
Outcome<Done> TakeMemoryOfStateFolder(const Options& options, std::vector<EffectiveSetting>& settings) {
  for (EffectiveSetting& setting : settings) {
    if (setting.key != kWorkerMemorySetting || setting.origin != kDefault) continue;
    const auto root = StateRoot::Locate(options.root);
    if (!root) return root.failure();
    const auto memory = WorkerMemory(*root, std::nullopt);
    if (!memory) return memory.failure();
    setting.value = std::to_string(*memory);
    if (*memory != kDefaultWorkerMemory) setting.origin = root->Place(kPackageSettings);
  }
  return Done{};
}

std::string TextOf(const std::vector<EffectiveSetting>& settings) {
  std::size_t width = 0;
  const auto line_of = [](const EffectiveSetting& setting) {
    return setting.key + "=" + Visible(setting.value);
  };
  for (const EffectiveSetting& setting : settings) width = std::max(width, line_of(setting).size());
  std::string text;
  for (const EffectiveSetting& setting : settings) {
    std::string line = line_of(setting);
    line.resize(width + 2, ' ');
    text += line + Visible(setting.origin) + "\n";
  }
  return text;
}

Json::Value JsonOf(const std::vector<EffectiveSetting>& settings) {
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "file", SettingsPlace());
  json["settings"] = Json::Value(Json::arrayValue);
  for (const EffectiveSetting& setting : settings) {
    Json::Value& entry = json["settings"].append(Json::Value(Json::objectValue));
    entry["key"] = setting.key;
    SetBytes(entry, "value", setting.value);
    SetBytes(entry, "origin", setting.origin);
  }
  return json;
}

int Print(const Options& options) {
  const auto file = ReadCallersSettings();
  if (!file) return ReportFailure(file.failure(), options.json);
  if (const auto mistakes = MistakesIn(*file); !mistakes.empty())
    return ReportFailure(mistakes.front(), options.json);
  auto settings = EffectiveSettings(*file);
  if (!settings) return ReportFailure(settings.failure(), options.json);
  if (auto taken = TakeMemoryOfStateFolder(options, *settings); !taken)
    return ReportFailure(taken.failure(), options.json);
  return PrintResult(options.json ? JsonLine(JsonOf(*settings)) + "\n" : TextOf(*settings),
                     ExitStatus::kDone);
}

int Check(const Options& options) {
  const auto file = options.checked.empty() ? ReadCallersSettings() : ReadSettingsFile(options.checked);
  if (!file) return ReportFailure(file.failure());
  const auto mistakes = MistakesIn(*file);
  for (const Failure& mistake : mistakes) ReportFailure(mistake);
  if (!mistakes.empty()) return static_cast<int>(ExitStatus::kConfiguration);
  const std::string name =
      file->path.empty() ? "there is no file of settings" : Visible(file->path) + ": all is well";
  return PrintResult(name + "\n", ExitStatus::kDone);
}

}  // namespace

Runner DefineConfig(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_flag("--json", options->json, "Print the result as one JSON object");
  AddRootOption(app, options->root);
  CLI::App* check = app.add_subcommand("check", "Name every mistake in a file of settings, with its line");
  check->fallthrough();
  check->add_option("file", options->checked, "The file; your own when none is named")->type_name("FILE");
  return [options, check] { return check->parsed() ? Check(*options) : Print(*options); };
}
