// The probe over real files that others made, against what an independent reader found in them.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "probe/probe.h"
#include "support/media_maker.h"
#include "support/reader_values.h"

namespace {

// Files where the two differ for a good reason, with the key of the reader and the reason.
const std::map<std::string, std::map<std::string, std::string>> kDifferences = {
    {"bep-imagemeta/sample.arw", {{"size", "the whole sensor, not the part of it that is developed"}}},
    {"pigallery2/live_photo/IMG_7943.HEIC", {{"size", "what its crop leaves, which viewers show"}}},
    {"pigallery2/sidecar/20240128_120909.mp4", {{"size", "as coded, not as shown"}}},
    {"metadata-extractor-images/heic/IllegalArgumentException.HeifReader.processBoxes.heif",
     {{"size", "corrupt: neither library reads it"}}},
    {"nom-exif/crash_moov-trak", {{"size", "a track of a video that is no photo"}}},
    {"small/png-truncated.png", {{"size", "corrupt: neither library reads it"}}},
    {"nom-exif/invalid-gps",
     {{"make", "corrupt"},
      {"model", "corrupt"},
      {"iso", "corrupt"},
      {"fnumber", "corrupt"},
      {"exposure_s", "corrupt"}}},
    {"pillow/exif_gps.jpg", {{"exposure_s", "4294967295 seconds are no exposure"}}},
    {"streamio-ffmpeg/weird_aspect.small.mpg", {{"duration_s", "the reader guesses it from the bit rate"}}},
    {"go-mp4/sample_fragmented.mp4", {{"duration_s", "the reader does not add up the fragments"}}},
    {"rails/video.webm", {{"duration_s", "the longest stream, not the tag of one"}}},
    {"pigallery2/edge_case_exif_data/date_error.JPG", {{"taken", "no date"}}},
    {"pigallery2/edge_case_exif_data/before_epoch.jpg", {{"taken", "no year of photography"}}},
};

const std::set<std::string> kVideoExtensions = {".avi", ".mov", ".mp4", ".mkv", ".webm",
                                                ".wmv", ".3gp", ".flv", ".mpg"};

bool IsVideo(const std::filesystem::path& path) {
  std::string extension = path.extension();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  return kVideoExtensions.contains(extension);
}

// "1/125" or "2.5"
double Exposure(const std::string& text) {
  const std::size_t slash = text.find('/');
  if (text.empty()) return 0;
  return slash == std::string::npos ? std::stod(text) : std::stod(text) / std::stod(text.substr(slash + 1));
}

class SharedProbe : public testing::Test {
 protected:
  void SetUp() override {
    if (SharedPhotos().empty()) GTEST_SKIP() << "no shared photos";
    std::ifstream(SharedPhotos() / "expected.json") >> expected_;
    ASSERT_GT(expected_.size(), 0U);
  }
  static ProbeResult ProbeEntry(const Json::Value& entry) {
    const std::filesystem::path path = SharedPhotos() / "media" / entry["path"].asString();
    return ProbeFile(path, IsVideo(path) ? MediaKind::kVideo : MediaKind::kPhoto);
  }
  // Checks AGREE unless the file is known to differ in KEY; then it must differ, or the list is out of date.
  static void Expect(bool agree, const Json::Value& entry, const std::string& key, const std::string& found) {
    const auto known = kDifferences.find(entry["path"].asString());
    const bool differs = known != kDifferences.end() && known->second.contains(key);
    EXPECT_EQ(agree, !differs) << entry["path"].asString() << " " << key << ": " << entry[key] << " but "
                               << found;
  }
  static void ExpectText(const Json::Value& entry, const char* key, const Json::Value& found) {
    if (entry.isMember(key))
      Expect(Trimmed(entry[key].asString()) == found.asString(), entry, key, found.asString());
  }
  static void ExpectNear(const Json::Value& entry, const char* key, double found, double tolerance) {
    if (!entry.isMember(key)) return;
    Expect(std::abs(Seconds(entry[key]) - found) <= tolerance, entry, key, std::to_string(found));
  }

  Json::Value expected_;
};

TEST_F(SharedProbe, SizesAgree) {
  for (const Json::Value& entry : expected_) {
    if (!entry.isMember("size") || entry["type"] == "XMP") continue;
    const Json::Value media = ProbeEntry(entry).media;
    const std::string found = media["resolutionX"].asString() + " " + media["resolutionY"].asString();
    Expect(entry["size"].asString() == found, entry, "size", found);
  }
}

TEST_F(SharedProbe, CameraValuesAgree) {
  for (const Json::Value& entry : expected_) {
    const Json::Value media = ProbeEntry(entry).media;
    if (IsVideo(entry["path"].asString())) continue;
    ExpectText(entry, "make", media["szMake"]);
    ExpectText(entry, "model", media["szModel"]);
    ExpectNear(entry, "iso", media["iso"].asInt(), 0);
    const std::string aperture = media["szAperture"].asString();
    ExpectNear(entry, "fnumber", aperture.empty() ? 0 : std::stod(aperture.substr(1)),
               0.051);  // one decimal is shown
    ExpectNear(entry, "exposure_s", Exposure(media["szExposure"].asString()), 1e-3);
  }
}

TEST_F(SharedProbe, TakenTimesAgree) {
  for (const Json::Value& entry : expected_) {
    if (!entry.isMember("taken") || IsVideo(entry["path"].asString())) continue;
    constexpr std::size_t kWithoutFraction = 19;
    std::string taken = entry["taken"].asString().substr(0, kWithoutFraction);
    taken[4] = taken[7] = '-';
    const std::string found = ProbeEntry(entry).media["szTakenTime"].asString();
    Expect(taken == found, entry, "taken", found);
  }
}

TEST_F(SharedProbe, VideosAgree) {
  for (const Json::Value& entry : expected_) {
    if (!IsVideo(entry["path"].asString())) continue;
    const Json::Value media = ProbeEntry(entry).media;
    ExpectNear(entry, "duration_s", media["duration"].asDouble(), 1e-3);
    if (entry.isMember("rotation_deg")) {
      Expect(entry["rotation_deg"] == media["rotation"], entry, "rotation_deg", media["rotation"].asString());
    }
  }
}

TEST_F(SharedProbe, TheIndependentReadersErrorsAreSeen) {
  for (const Json::Value& entry : expected_) {
    if (!entry.isMember("reader_error")) continue;
    EXPECT_NE(ProbeEntry(entry).outcome, ProbeOutcome::kOk) << entry["path"].asString();
  }
}

TEST_F(SharedProbe, EveryFileHasARecordAndAReasonUnlessItIsOk) {
  for (const Json::Value& entry : expected_) {
    const ProbeResult result = ProbeEntry(entry);
    EXPECT_EQ(result.media.size(), 48U);
    EXPECT_EQ(result.media["fileSize"].asUInt64(), entry["bytes"].asUInt64()) << entry["path"].asString();
    EXPECT_EQ(result.outcome == ProbeOutcome::kOk, result.reason.empty()) << entry["path"].asString();
  }
}

}  // namespace
