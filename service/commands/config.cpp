#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "commands/command.h"
#include "commands/settings.h"
#include "common/display.h"

namespace {

constexpr int kSchemaVersion = 1;

struct Options {
  std::string root;
  std::string checked;  // a file
  bool json = false;
};

std::string OriginOf(const EffectiveSetting& setting) {
  return setting.origin.empty() ? "default" : setting.origin;
}

std::string TextOf(const std::vector<EffectiveSetting>& settings) {
  const auto line_of = [](const EffectiveSetting& setting) {
    return setting.key + "=" + Visible(setting.value);
  };
  std::size_t width = 0;
  for (const EffectiveSetting& setting : settings) width = std::max(width, line_of(setting).size());
  std::string text;
  for (const EffectiveSetting& setting : settings) {
    std::string line = line_of(setting);
    line.resize(width + 2, ' ');
    text += line + Visible(OriginOf(setting)) + "\n";
  }
  return text;
}

Json::Value JsonAbout(const std::string& file) {
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "file", file);
  return json;
}

Json::Value JsonOf(const std::vector<EffectiveSetting>& settings) {
  Json::Value json = JsonAbout(SettingsPlace());
  json["settings"] = Json::Value(Json::arrayValue);
  for (const EffectiveSetting& setting : settings) {
    Json::Value& entry = json["settings"].append(Json::Value(Json::objectValue));
    entry["key"] = setting.key;
    SetBytes(entry, "value", setting.value);
    SetBytes(entry, "origin", OriginOf(setting));
  }
  return json;
}

Json::Value JsonOf(const SettingsFile& file, const std::vector<SettingMistake>& mistakes) {
  Json::Value json = JsonAbout(file.path.empty() ? SettingsPlace() : file.path);
  json["mistakes"] = Json::Value(Json::arrayValue);
  for (const SettingMistake& mistake : mistakes) {
    Json::Value& entry = json["mistakes"].append(Json::Value(Json::objectValue));
    entry["line"] = mistake.line;
    SetBytes(entry, "text", mistake.text);
  }
  return json;
}

int Print(const Options& options) {
  auto settings = EffectiveSettings();
  if (!settings) return ReportFailure(settings.failure(), options.json);
  auto memory = EffectiveWorkerMemory(options.root);
  if (!memory) return ReportFailure(memory.failure(), options.json);
  for (EffectiveSetting& setting : *settings) {
    if (setting.key == memory->key) setting = *memory;
  }
  return PrintResult(options.json ? JsonLine(JsonOf(*settings)) + "\n" : TextOf(*settings),
                     ExitStatus::kDone);
}

int Check(const Options& options) {
  const auto file = options.checked.empty() ? ReadCallersSettings() : ReadSettingsFile(options.checked);
  if (!file) return ReportFailure(file.failure(), options.json);
  const auto mistakes = MistakesIn(*file);
  for (const SettingMistake& mistake : mistakes) ReportFailure(FailureOf(mistake, *file));
  const ExitStatus status = mistakes.empty() ? ExitStatus::kDone : ExitStatus::kConfiguration;
  if (options.json) return PrintResult(JsonLine(JsonOf(*file, mistakes)) + "\n", status);
  if (!mistakes.empty()) return static_cast<int>(status);
  const std::string place = file->path.empty() ? SettingsPlace() : file->path;
  const std::string text = file->path.empty() ? "there is no file of settings" : "all is well";
  return PrintResult((place.empty() ? "" : Visible(place) + ": ") + text + "\n", status);
}

}  // namespace

Runner DefineConfig(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_flag("--json", options->json, "Print the result as one JSON object");
  AddRootOption(app, options->root);
  CLI::App* check = app.add_subcommand("check", "Name every mistake in a file of settings, with its line");
  check->fallthrough();
  check->add_flag("--json", options->json, "Print the result as one JSON object");
  check->add_option("file", options->checked, "The file; your own when none is named")->type_name("FILE");
  return [options, check] { return check->parsed() ? Check(*options) : Print(*options); };
}
