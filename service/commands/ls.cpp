#include <CLI/CLI.hpp>
#include <string_view>

#include "answers/media_record.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"

namespace {

Outcome<OpenedLibrary> Open(const LibraryOptions& options) {
  if (options.shared && options.folder.empty()) return OpenSharedTree(options.root, "");
  if (options.folder.empty()) return NoLibraryNamed();
  return OpenLibraryAround(options.root, FolderPath(options.folder));
}

Outcome<std::vector<ListedEntry>> Find(const LibraryOptions& options) {
  auto opened = Open(options);
  if (!opened) return opened.failure();
  auto entries = ListFolder(opened->database, opened->library, opened->key());
  if (!entries) return entries.failure();
  if (!*entries) return NotIndexed(opened->path, "no indexed folder");
  return std::move(**entries);
}

Json::Value ListJson(const std::vector<ListedEntry>& entries) {
  Json::Value list(Json::arrayValue);
  for (const ListedEntry& entry : entries) {
    Json::Value& json = list.append(Json::Value(Json::objectValue));
    json["kind"] = entry.kind;
    SetBytes(json, "name", entry.name);
    if (entry.kind == std::string_view("album")) continue;
    json["taken"] = ValidUtf8(entry.taken);
    json["size"] = TypedValue(entry.size, true);
    json["width"] = TypedValue(entry.width, true);
    json["height"] = TypedValue(entry.height, true);
  }
  return list;
}

// kind, taken, size, dimensions and name, separated by tabs.
std::string ListText(const std::vector<ListedEntry>& entries, bool terminal) {
  std::string text;
  for (const ListedEntry& entry : entries) {
    const bool measured = !entry.width.empty() && !entry.height.empty();
    text.append(entry.kind).append("\t");
    text.append(Shown(entry.taken, terminal)).append("\t");
    text.append(Shown(entry.size, terminal)).append("\t");
    text.append(measured ? Shown(entry.width + "x" + entry.height, terminal) : "").append("\t");
    text.append(Shown(entry.name, terminal)).append("\n");
  }
  return text;
}

}  // namespace

Runner DefineList(CLI::App& app) {
  const auto options = AddLibraryOptions(app, "Library, or a folder in one");
  AddJsonOption(app, *options, "Print the result as one JSON array");
  return [options] { return PrintFound(Find(*options), options->json, ListJson, ListText); };
}
