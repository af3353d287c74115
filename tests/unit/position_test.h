// What tests of a photo's position have in common: the answers of the metadata tool and of the script.
#ifndef TESTS_UNIT_POSITION_TEST_H_
#define TESTS_UNIT_POSITION_TEST_H_

#include "photo_database/position.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "support/fake_library.h"

class PositionTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(path(), "");
  }

  std::string path() const { return shared() + "/trip/b.jpg"; }
  std::string SideFile(const std::string& separator) const {
    return shared() + "/trip/@eaDir/b.jpg/KAVOPHOTO" + separator + "GPS";
  }
  // The answers of the tool to the four questions; an empty one is an absent tag.
  void SetTags(const std::string& latitude_reference, const std::string& latitude,
               const std::string& longitude_reference, const std::string& longitude) {
    fake().programs = {{"Exif.GPSInfo.GPSLatitudeRef ", {0, latitude_reference}},
                       {"Exif.GPSInfo.GPSLatitude ", {0, latitude}},
                       {"Exif.GPSInfo.GPSLongitudeRef ", {0, longitude_reference}},
                       {"Exif.GPSInfo.GPSLongitude ", {0, longitude}}};
  }
  void SetScript(const std::string& tag, const std::string& output) {
    fake().programs.push_back({"gps.php -t " + tag, {0, output}});
  }
  // What the tool prints for the two values uninterpreted.
  void SetStored(const std::string& latitude, const std::string& longitude) {
    fake().programs.insert(fake().programs.begin(), {{"Exif.GPSInfo.GPSLatitude -Pv", {0, latitude}},
                                                     {"Exif.GPSInfo.GPSLongitude -Pv", {0, longitude}}});
  }
  // What was asked of the tool, "key form", in order.
  static std::vector<std::string> Asked() {
    std::vector<std::string> questions;
    for (const std::string& call : fake().calls) {
      const std::string tool = "ProcessRunner(/usr/kavo/bin/exiv2 -K ";
      if (call.starts_with(tool))
        questions.push_back(call.substr(tool.size(), call.find(" /") - tool.size()));
    }
    return questions;
  }
  // How many calls came before the first with TEXT in it.
  static std::ptrdiff_t FirstCallWith(const std::string& text) {
    const auto& calls = fake().calls;
    const auto has = [&](const std::string& call) { return call.find(text) != call.npos; };
    return std::find_if(calls.begin(), calls.end(), has) - calls.begin();
  }
  std::optional<Position> Get(PositionMode mode = PositionMode::kPhoto) const {
    return PhotoGPSInfoGet(path().c_str(), mode);
  }
  // "gps|lat|lng", or "-1".
  std::string Texts(PositionMode mode = PositionMode::kPhoto) const {
    const auto position = Get(mode);
    return position ? position->gps + "|" + position->latitude + "|" + position->longitude : "-1";
  }
};

#endif  // TESTS_UNIT_POSITION_TEST_H_
