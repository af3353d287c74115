#include <CLI/CLI.hpp>
#include <memory>

#include "answers/media_record.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"
#include "library/library.h"

namespace {

constexpr int kSchemaVersion = 1;
constexpr const char* kFolder = "is a folder; lumivault ls lists it";

struct Options {
  std::string file;
  std::string root;
  bool json = false;
};

struct Found {
  std::string path;
  Library library;
  MediaRecord record;
};

Outcome<Found> Find(const Options& options) {
  if (options.file.empty()) return Failure{ExitStatus::kUsage, "show needs a file name"};
  auto opened = OpenLibraryAround(options.root, KeyPath(options.file));
  if (!opened) return opened.failure();
  const std::string key = opened->key();
  auto record = ReadRecord(opened->database, opened->library.FileKey(key));
  if (!record) return record.failure();
  if (!*record) return NotIndexed(opened->path, IsAlbum(opened->database, key) ? kFolder : "not indexed");
  return Found{opened->path, opened->library, std::move(**record)};
}

Json::Value LabelsJson(const std::vector<Label>& labels) {
  Json::Value list(Json::arrayValue);
  for (const Label& label : labels) {
    Json::Value& entry = list.append(Json::Value(Json::objectValue));
    entry["id"] = TypedValue(label.id, true);
    SetBytes(entry, "name", label.name);
    SetBytes(entry, "info", label.info);
    entry["confirmed"] = label.confirmed;
  }
  return list;
}

Json::Value FoundJson(const Found& found) {
  const MediaRecord& record = found.record;
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "path", found.path);
  SetBytes(json, "library", found.library.folder);
  json["kind"] = record.kind;
  json["row"] = Json::Value(Json::objectValue);
  for (const auto& [column, value] : record.row) SetValue(json["row"], column.name, value, column.number());
  json["album"] = Json::Value();
  if (record.album) {
    SetBytes(json["album"], "name", *record.album);
    json["album"]["id"] = TypedValue(record.album_id, true);
    json["album"]["public"] = record.album_public;
  }
  json["labels"] = LabelsJson(record.labels);
  json["people"] = LabelsJson(record.people);
  return json;
}

std::string Names(const std::vector<Label>& labels, bool terminal) {
  std::string names;
  for (const Label& label : labels) names += (names.empty() ? "" : ", ") + Shown(label.name, terminal);
  return names;
}

std::string FoundText(const Found& found, bool terminal) {
  const MediaRecord& record = found.record;
  std::string text;
  const auto line = [&](const std::string& name, const std::string& value) {
    if (!value.empty()) text += name + ": " + value + "\n";
  };
  line("file", Shown(found.path, terminal));
  line("kind", record.kind);
  for (const auto& [column, value] : record.row) line(column.name, Shown(value.value_or(""), terminal));
  line("album name", Shown(record.album.value_or(""), terminal));
  line("labels", Names(record.labels, terminal));
  line("people", Names(record.people, terminal));
  return text;
}

}  // namespace

Runner DefineShow(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("file", options->file, "Photo or video in a library")->type_name("FILE")->required();
  app.add_flag("--json", options->json, "Print the result as one JSON object");
  AddRootOption(app, options->root);
  AddReadTimeoutOption(app);
  return [options] { return PrintFound(Find(*options), options->json, FoundJson, FoundText); };
}
