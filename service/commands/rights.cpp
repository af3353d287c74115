#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "answers/album_rights.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"
#include "library/album_name.h"

namespace {

constexpr int kSchemaVersion = 1;

struct Options {
  std::string album;
  bool shared = false;
  std::string root;
  bool json = false;
};

// With --shared ALBUM may be the name that the album has in the tree.
Outcome<OpenedLibrary> Open(const Options& options) {
  if (!options.shared) return OpenLibraryAround(options.root, FolderPath(options.album));
  auto tree = OpenSharedTree(options.root, "");
  if (!tree || options.album == kRootAlbum || options.album == tree->library.folder) return tree;
  // An absolute path stays as it is.
  const auto path = (std::filesystem::path(tree->library.folder) / options.album).lexically_normal();
  tree->path = path.has_filename() ? path.string() : path.parent_path().string();
  if (tree->path != tree->library.folder && tree->key().empty())
    return NotIndexed(tree->path, "lies outside the shared tree");
  return tree;
}

struct Found {
  std::string library;
  std::string name;
  AlbumRights album;
};

Outcome<Found> Find(const Options& options) {
  auto opened = Open(options);
  if (!opened) return opened.failure();
  const std::string name = opened->key().empty() ? kRootAlbum : opened->key();
  auto album = ReadAlbumRights(opened->database, name);
  if (!album) return album.failure();
  if (!*album) return NotIndexed(opened->path, "no album");
  return Found{opened->library.folder, name, std::move(**album)};
}

Json::Value FoundJson(const Found& found) {
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "library", found.library);
  SetBytes(json, "album", found.name);
  json["id"] = TypedValue(found.album.id, true);
  json["public"] = found.album.is_public;
  json["rights"] = Json::Value(Json::arrayValue);
  for (const AlbumRight& right : found.album.rights) {
    Json::Value& entry = json["rights"].append(Json::Value(Json::objectValue));
    entry["right"] = right.right;
    entry["accounts"] = right.accounts;
    entry["userid"] = TypedValue(right.user, true);
    SetValue(entry, "time", right.time, false);
  }
  return json;
}

std::string NoRightsText(const Found& found) {
  const char* seen_by = found.album.is_public ? "; everybody may see it" : "";
  return Visible(found.name) + ": nobody has been given rights" + seen_by + "\n";
}

// right, accounts, user and time, separated by tabs; the time without its line end.
std::string FoundText(const Found& found, bool terminal) {
  if (found.album.rights.empty()) return NoRightsText(found);
  std::string text;
  for (const AlbumRight& right : found.album.rights) {
    std::string time = right.time.value_or("");
    if (time.ends_with('\n')) time.pop_back();
    text.append(right.right).append("\t").append(right.accounts).append("\t");
    text.append(Shown(right.user, terminal)).append("\t").append(Shown(time, terminal)).append("\n");
  }
  return text;
}

}  // namespace

Runner DefineRights(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("album", options->album,
                 "Folder in a library; with --shared also its name there, / for the root")
      ->type_name("ALBUM")
      ->required();
  AddSharedOption(app, options->shared);
  app.add_flag("--json", options->json, "Print the result as one JSON object");
  AddRootOption(app, options->root);
  AddReadTimeoutOption(app);
  return [options] { return PrintFound(Find(*options), options->json, FoundJson, FoundText); };
}
