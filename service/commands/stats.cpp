#include <CLI/CLI.hpp>

#include "answers/library_summary.h"
#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/print_found.h"
#include "common/display.h"
#include "database/typed_value.h"

namespace {

constexpr int kSchemaVersion = 1;

Json::Value PhotosJson(const PhotoSummary& photos) {
  Json::Value json(Json::objectValue);
  json["count"] = TypedValue(photos.count, true);
  json["with_position"] = TypedValue(photos.with_position, true);
  json["without_taken_time"] = TypedValue(photos.without_taken_time, true);
  json["disabled"] = TypedValue(photos.disabled, true);
  json["bytes"] = TypedValue(photos.bytes, true);
  SetValue(json, "oldest_taken", photos.oldest_taken, false);
  SetValue(json, "newest_taken", photos.newest_taken, false);
  return json;
}

Json::Value VideosJson(const VideoSummary& videos) {
  Json::Value json(Json::objectValue);
  json["count"] = TypedValue(videos.count, true);
  json["with_position"] = TypedValue(videos.with_position, true);
  json["disabled"] = TypedValue(videos.disabled, true);
  json["bytes"] = TypedValue(videos.bytes, true);
  return json;
}

struct Found {
  std::string library;
  LibrarySummary summary;
};

Outcome<Found> Find(const LibraryOptions& options) {
  auto opened = OpenLibrary(options);
  if (!opened) return opened.failure();
  auto summary = ReadSummary(opened->database);
  if (!summary) return summary.failure();
  return Found{opened->library.folder, std::move(*summary)};
}

Json::Value FoundJson(const Found& found) {
  const LibrarySummary& summary = found.summary;
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "library", found.library);
  json["photos"] = PhotosJson(summary.photos);
  json["videos"] = VideosJson(summary.videos);
  json["albums"] = TypedValue(summary.albums, true);
  for (const auto& [kind, count] : summary.labels) json["labels"][kind] = TypedValue(count, true);
  return json;
}

std::string FoundText(const Found& found, bool /*terminal*/) {
  const LibrarySummary& summary = found.summary;
  std::string text;
  const auto line = [&](const std::string& name, const std::string& value) {
    text += name + ": " + value + "\n";
  };
  const PhotoSummary& photos = summary.photos;
  line("photos", photos.count);
  line("photos with position", photos.with_position);
  line("photos without taken time", photos.without_taken_time);
  line("photos disabled", photos.disabled);
  line("photo bytes", photos.bytes);
  line("oldest taken", Visible(photos.oldest_taken.value_or("")));
  line("newest taken", Visible(photos.newest_taken.value_or("")));
  line("videos", summary.videos.count);
  line("videos with position", summary.videos.with_position);
  line("videos disabled", summary.videos.disabled);
  line("video bytes", summary.videos.bytes);
  line("albums", summary.albums);
  for (const auto& [kind, count] : summary.labels) line("labels (" + kind + ")", count);
  return text;
}

}  // namespace

Runner DefineStats(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  AddJsonOption(app, *options, "Print the result as one JSON object");
  return [options] { return PrintFound(Find(*options), options->json, FoundJson, FoundText); };
}
