// Positions as the metadata tool and the position script may print them: what comes of any texts is a place
// on earth, or none.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/limits.h"
#include "fuzz/fuzz_input.h"
#include "photo_database/position.h"
#include "photo_database/tool_values.h"
#include "platform/text.h"
#include "support/fake_platform.h"
#include "support/temp_dir.h"

namespace {

// The parts of INPUT, which end with '\x01', as what is printed for each question.
void Print(std::string_view input) {
  auto& programs = FakePlatform::Get().programs;
  programs.clear();
  for (const char* question :
       {"GPSLatitudeRef -Pt", "GPSLatitude -Pt", "GPSLatitude -Pv", "-t GPSLatitude", "GPSLongitudeRef -Pt",
        "GPSLongitude -Pt", "GPSLongitude -Pv", "-t GPSLongitude"})
    programs.push_back({question, {0, TakePart(input, '\x01')}});
}

void CheckDegrees(const std::string& text, double most) {
  char* end = nullptr;
  const double degrees = std::strtod(text.c_str(), &end);
  Require(!text.empty() && *end == '\0' && std::abs(degrees) <= most, "nowhere on earth", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TempDir dir;
  static const std::string photo = [] {
    FakePlatform::Reset();
    WriteFile(dir / "a.jpg", "");
    return dir / "a.jpg";
  }();
  FakePlatform::Get().calls.clear();
  const std::string input = TextOf(data, size);
  Print(input);
  const auto position = PhotoGPSInfoGet(photo.c_str(), PositionMode::kPhoto);
  Require(position.has_value(), "an error");
  if (!position->gps.empty()) {
    CheckDegrees(position->latitude, 90);
    CheckDegrees(position->longitude, 180);
    Require(
        position->gps == "{\"lat\":\"" + position->latitude + "\",\"lng\":\"" + position->longitude + "\"}",
        "another text", position->gps);
  }
  const auto value = PhotoExifTagValueGet(photo.c_str(), "Exif.GPSInfo.GPSLatitude", kPathSize);
  Require(!value || (!value->empty() && value->size() < kPathSize), "a value without a bound");
  return 0;
}
