#include "support/media_maker.h"

#include <stdlib.h>

#include <exiv2/exiv2.hpp>
#include <map>
#include <stdexcept>

#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

// Runs COMMAND, in which "$OUT" is the name of a fresh file with EXTENSION, and gives that file's bytes;
// empty when it failed. Asked again it does not run again.
const std::string& OutputOf(const std::string& command, const std::string& extension) {
  static std::map<std::string, std::string> made;
  const auto known = made.find(command + extension);
  if (known != made.end()) return known->second;

  const TempDir dir;
  const fs::path out = dir.path() / ("out." + extension);
  setenv("OUT", out.c_str(), 1);
  const bool done = system(command.c_str()) == 0;  // NOLINT(cert-env33-c): texts of the tests alone
  unsetenv("OUT");
  return made[command + extension] = done ? ReadFile(out) : "";
}

std::string ExtensionOf(const fs::path& path) {
  const std::string extension = path.extension().string();
  return extension.empty() ? "jpg" : extension.substr(1);
}

void Check(int failure, const std::string& key) {
  if (failure != 0) throw std::runtime_error("the value does not fit " + key);
}

void AddTag(Exiv2::Image& image, const std::string& key, const std::string& text) {
  if (key.starts_with("Exif.")) {
    Exiv2::Exifdatum datum{Exiv2::ExifKey(key)};
    Check(datum.setValue(text), key);
    image.exifData().add(datum);
  } else if (key.starts_with("Iptc.")) {
    Exiv2::Iptcdatum datum{Exiv2::IptcKey(key)};
    Check(datum.setValue(text), key);
    Check(image.iptcData().add(datum), key);
  } else if (text.starts_with("type=")) {
    Exiv2::XmpTextValue kind;
    Check(kind.read(text), key);
    Check(image.xmpData().add(Exiv2::XmpKey(key), &kind), key);
  } else {
    // A key that stands there already takes one more entry of its list.
    Check(image.xmpData()[key].setValue(text), key);
  }
}

void AddTags(const fs::path& path, const Tags& tags) {
  const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path.string(), true);
  image->readMetadata();
  for (const auto& [key, text] : tags) AddTag(*image, key, text);
  image->writeMetadata();
}

void Make(const fs::path& path, const std::string& extension, int width, int height, const Tags& tags) {
  const std::string size = std::to_string(width) + " " + std::to_string(height);
  const std::string& bytes = OutputOf("vips black \"$OUT\" " + size, extension);
  if (bytes.empty()) throw std::runtime_error("vips makes no " + extension);
  WriteFile(path, bytes);
  if (!tags.empty()) AddTags(path, tags);
}

// Where the usual ones are no part of this ffmpeg.
std::string UsualCodecs(const fs::path& path) {
  return ExtensionOf(path) == "3gp" ? " -c:v libx264 -c:a aac" : "";
}

bool Record(const fs::path& path, const std::string& size, double seconds, const std::string& options) {
  const std::string extension = ExtensionOf(path);
  const std::string& bytes = OutputOf("ffmpeg -v error -y -f lavfi -i testsrc=size=" + size +
                                          ":rate=25 -f lavfi -i sine=frequency=440 -t " +
                                          std::to_string(seconds) + " -shortest" + options + " \"$OUT\"",
                                      extension);
  if (bytes.empty() && std::system("command -v ffmpeg >/dev/null") == 0)
    throw std::runtime_error("ffmpeg makes no " + extension);
  if (bytes.empty()) return false;
  WriteFile(path, bytes);
  return true;
}

}  // namespace

Tags FaceTags(const std::string& person) {
  const std::string list = "Xmp.mwg-rs.Regions/mwg-rs:RegionList";
  const std::string region = list + "[1]";
  return {{"Xmp.mwg-rs.Regions", "type=Struct"},     {list, "type=Bag"},
          {region + "/mwg-rs:Name", person},         {region + "/mwg-rs:Type", "Face"},
          {region + "/mwg-rs:Area/stArea:x", "0.5"}, {region + "/mwg-rs:Area/stArea:y", "0.5"},
          {region + "/mwg-rs:Area/stArea:w", "0.2"}, {region + "/mwg-rs:Area/stArea:h", "0.4"}};
}

void MakeJpeg(const fs::path& path, int width, int height, const Tags& tags) {
  Make(path, "jpg", width, height, tags);
}

void MakeImage(const fs::path& path, int width, int height, const Tags& tags) {
  Make(path, ExtensionOf(path), width, height, tags);
}

bool MakeVideo(const fs::path& path, int width, int height, double seconds) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  return Record(path, size, seconds, UsualCodecs(path));
}

bool MakeTaggedVideo(const fs::path& path, const Tags& tags) {
  std::string options = UsualCodecs(path) + " -movflags use_metadata_tags";
  for (const auto& [key, value] : tags) options += " -metadata '" + key + "=" + value + "'";
  return Record(path, "64x48", 1, options);
}

bool MakeCodedVideo(const fs::path& path, const std::string& arguments) {
  return Record(path, "64x48", 1, " " + arguments);
}

fs::path SharedPhotos() {
  const char* given = getenv("LUMIVAULT_SHARED_PHOTOS");
  const fs::path folder = given != nullptr ? given : LUMIVAULT_SHARED_PHOTOS;
  std::error_code ignored;
  return fs::is_directory(folder, ignored) ? folder : fs::path();
}
