#include <CLI/CLI.hpp>

#include "answers/library_summary.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"

namespace {

Json::Value LabelsJson(const std::vector<LabelSummary>& labels) {
  Json::Value list(Json::arrayValue);
  for (const LabelSummary& label : labels) {
    Json::Value& json = list.append(Json::Value(Json::objectValue));
    json["id"] = TypedValue(label.id, true);
    json["category"] = TypedValue(label.category, true);
    json["kind"] = LabelKind(label.category);
    SetBytes(json, "name", label.name);
    json["photos"] = TypedValue(label.photos, true);
    json["videos"] = TypedValue(label.videos, true);
  }
  return list;
}

// kind, photos, videos and name, separated by tabs.
std::string LabelsText(const std::vector<LabelSummary>& labels, bool terminal) {
  std::string text;
  for (const LabelSummary& label : labels) {
    text.append(LabelKind(label.category)).append("\t");
    text.append(label.photos).append("\t").append(label.videos).append("\t");
    text.append(Shown(label.name, terminal)).append("\n");
  }
  return text;
}

Outcome<std::vector<LabelSummary>> Find(const LibraryOptions& options) {
  auto opened = OpenLibrary(options);
  if (!opened) return opened.failure();
  return ReadLabels(opened->database);
}

}  // namespace

Runner DefineLabels(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  AddJsonOption(app, *options, "Print the result as one JSON array");
  return [options] { return PrintFound(Find(*options), options->json, LabelsJson, LabelsText); };
}
