// The row of a photo.
#include <time.h>

#include <exception>
#include <exiv2/exiv2.hpp>
#include <optional>

#include "base/json_value.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "base/value_format.h"
#include "photo_database/cursor.h"
#include "photo_database/photo_sql.h"
#include "photo_database/position.h"
#include "photo_database/save.h"
#include "photo_database/storable_text.h"
#include "photo_database/thumbnail_version.h"
#include "photo_exiv2/image_metadata.h"

namespace {

constexpr const char* kTakenTimeFormat = "%Y-%m-%d %H:%M:%S";
constexpr const char* kNoTakenTime = "1970-01-01 00:00:00";

struct PhotoRow {
  std::string name;
  std::string title;
  std::string description;
  std::string album;
  std::int64_t size = 0;
  std::string make;
  std::string model;
  std::string exposure;
  std::string aperture;
  int width = 0;
  int height = 0;
  int iso = 0;
  std::string taken_time;
  std::string create_time;
  int version = 0;
  Position position;
  ShareIds shares;
  int rotation = 0;
  std::string focal_length;
  std::string lens;
  std::string flash;
};

// The columns of an existing row that an update may keep.
struct CurrentPhoto {
  std::string title;
  std::string description;
};

Json::Value NoMetadata() {
  Json::Value metadata(Json::objectValue);
  metadata["orientation"] = 0;
  metadata["focalLength"] = "";
  metadata["lens"] = "";
  metadata["flash"] = "";
  return metadata;
}

// Missing, unsupported and broken files have none; neither has one whose reading asks for more memory than
// there is, which is worth a line in the log.
Json::Value MetadataOf(const std::string& path) {
  try {
    return ImageMetadata(path);
  } catch (const Exiv2::BasicError<char>&) {
    return NoMetadata();
  } catch (const std::exception& error) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to read the metadata of %s (%s)", path.c_str(), error.what());
    return NoMetadata();
  }
}

// The text is used as a format once it has turned out to begin with a time.
std::string TakenTime(const std::string& text) {
  struct tm parsed = {};
  const bool is_time = strptime(text.c_str(), kTakenTimeFormat, &parsed) != nullptr;
  if (!is_time || parsed.tm_year < 1 || parsed.tm_mday < 1) return kNoTakenTime;
  return StorableText(FormatValue(text, kTakenTimeSize), kTakenTimeSize);
}

void FillFromRecord(const SaveRequest& request, PhotoRow* row) {
  row->name = RecordText(request, "szName");
  row->album = RecordText(request, "szAlbum");
  row->size = static_cast<std::int64_t>(JsonUInt64(request.info, "fileSize"));
  row->make = RecordText(request, "szMake");
  row->model = RecordText(request, "szModel");
  row->exposure = RecordText(request, "szExposure");
  row->aperture = RecordText(request, "szAperture");
  row->width = JsonInt(request.info, "resolutionX");
  row->height = JsonInt(request.info, "resolutionY");
  row->iso = JsonInt(request.info, "iso");
  row->taken_time = TakenTime(JsonText(request.info, "szTakenTime"));
  row->create_time = RecordText(request, "szDate");
}

void FillFromMetadata(const Json::Value& metadata, PhotoRow* row) {
  row->rotation = JsonInt(metadata, "orientation");
  row->focal_length = StorableText(JsonText(metadata, "focalLength"));
  row->lens = StorableText(JsonText(metadata, "lens"));
  row->flash = StorableText(JsonText(metadata, "flash"));
}

// The record's text, else the file's own (an empty one too), else that of the row.
std::string Description(const SaveRequest& request, const Json::Value& metadata,
                        const CurrentPhoto* current) {
  std::string given = JsonText(request.info, "szDesc");
  if (given.empty()) {
    if (metadata.isMember("description")) {
      given = JsonText(metadata, "description");
    } else if (current != nullptr) {
      given = current->description;
    }
  }
  return StorableText(given, kPathSize);
}

// A title that somebody gave the row outlives one that only repeats the file name.
std::string Title(const SaveRequest& request, const CurrentPhoto* current) {
  const std::string title = JsonText(request.info, "szTitle");
  const std::string name = JsonText(request.info, "szName");
  const bool keeps = current != nullptr && IsDefaultTitle(name, title, title) && !current->title.empty();
  return StorableText(keeps ? current->title : title, kPathSize);
}

Statement Insert(const SaveRequest& request, const PhotoRow& row) {
  return Statement::Build(
      request.connection.type(), kInsertPhoto, request.key, row.name.c_str(), row.title.c_str(),
      row.description.c_str(), row.album.c_str(), row.size, row.make.c_str(), row.model.c_str(),
      row.exposure.c_str(), row.aperture.c_str(), row.width, row.height, row.iso, row.taken_time.c_str(),
      row.create_time.c_str(), row.version, row.position.gps.c_str(), request.disabled, row.shares.share,
      row.shares.rights_share, row.rotation, SqlNumber(row.position.latitude),
      SqlNumber(row.position.longitude), row.focal_length.c_str(), row.lens.c_str(), row.flash.c_str());
}

Statement Update(const SaveRequest& request, const PhotoRow& row) {
  return Statement::Build(
      request.connection.type(), kUpdatePhoto, row.name.c_str(), row.title.c_str(), row.description.c_str(),
      row.album.c_str(), row.size, row.make.c_str(), row.model.c_str(), row.exposure.c_str(),
      row.aperture.c_str(), row.width, row.height, row.iso, row.taken_time.c_str(), row.create_time.c_str(),
      row.version, row.position.gps.c_str(), request.disabled, row.shares.share, row.shares.rights_share,
      row.rotation, SqlNumber(row.position.latitude), SqlNumber(row.position.longitude),
      row.focal_length.c_str(), row.lens.c_str(), row.flash.c_str(), request.key);
}

// Completes ROW with what depends on the current row (null: there is none) and writes it.
SaveOutcome Write(const SaveRequest& request, const Json::Value& metadata, const CurrentPhoto* current,
                  PhotoRow* row) {
  row->description = Description(request, metadata, current);
  row->title = Title(request, current);
  if (current == nullptr) return RunSave(request, Insert(request, *row), SaveOutcome::kInserted);
  return RunSave(request, Update(request, *row), SaveOutcome::kUpdated);
}

}  // namespace

SaveOutcome SavePhoto(const SaveRequest& request) {
  PhotoRow row;
  FillFromRecord(request, &row);
  row.version = ThumbnailVersion(request.path.c_str(), row.width, row.height);
  row.position = PhotoGPSInfoGet(request.path.c_str(), PositionMode::kPhoto).value_or(Position{});
  const auto condition = RowCondition(request);
  if (!condition) return SaveOutcome::kFailed;
  Cursor rows(PHOTO_TABLE_IMAGE, kPhotoColumns, condition.get(), nullptr, 0, 0);
  if (!rows) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return SaveOutcome::kFailed;
  }
  row.shares = ShareIdsOf(request.path);
  const Json::Value metadata = MetadataOf(request.path);
  FillFromMetadata(metadata, &row);
  if (rows.count() == 0) return Write(request, metadata, nullptr, &row);
  if (!rows.Next()) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed");
    return SaveOutcome::kFailed;
  }
  const CurrentPhoto current = {OrEmpty(rows.Field("title")), OrEmpty(rows.Field("description"))};
  return Write(request, metadata, &current, &row);
}
