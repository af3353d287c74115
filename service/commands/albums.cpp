#include <CLI/CLI.hpp>

#include "answers/library_summary.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"

namespace {

Json::Value AlbumsJson(const std::vector<AlbumSummary>& albums) {
  Json::Value list(Json::arrayValue);
  for (const AlbumSummary& album : albums) {
    Json::Value& json = list.append(Json::Value(Json::objectValue));
    json["id"] = TypedValue(album.id, true);
    SetBytes(json, "name", album.name);
    SetBytes(json, "title", album.title);
    SetBytes(json, "description", album.description);
    json["public"] = album.is_public;
    json["photos"] = TypedValue(album.photos, true);
    json["videos"] = TypedValue(album.videos, true);
  }
  return list;
}

// photos, videos, "public" or "private", and name, separated by tabs.
std::string AlbumsText(const std::vector<AlbumSummary>& albums, bool terminal) {
  std::string text;
  for (const AlbumSummary& album : albums) {
    text.append(album.photos).append("\t").append(album.videos).append("\t");
    text.append(album.is_public ? "public" : "private").append("\t");
    text.append(Shown(album.name, terminal)).append("\n");
  }
  return text;
}

Outcome<std::vector<AlbumSummary>> Find(const LibraryOptions& options) {
  auto opened = OpenLibrary(options);
  if (!opened) return opened.failure();
  return ReadAlbums(opened->database);
}

}  // namespace

Runner DefineAlbums(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  AddJsonOption(app, *options, "Print the result as one JSON array");
  return [options] { return PrintFound(Find(*options), options->json, AlbumsJson, AlbumsText); };
}
