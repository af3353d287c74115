// The real program over real files that others made, against what an independent reader found in them.
#include <json/json.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "support/media_maker.h"
#include "support/reader_values.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

using Strings = std::set<std::string>;
using Reasons = std::map<std::string, std::string>;

// Extensions, in lower case, of what is neither a photo nor a video.
const Reasons kOtherExtensions = {
    {"", "has no extension"},
    {".fuzzed", "the extension is of no media kind"},
    {".psd", "the extension is of no media kind"},
    {".xmp", "metadata beside a photo"},
};

// Photos and videos that get no row.
const Reasons kWithoutRow = {
    {"androidx-media/mp4/sample_malformed_free_box.mp4", "a box of impossible size"},
    {"elodie/invalid.jpg", "empty"},
    {"metadata-extractor-images/heic/IllegalArgumentException.HeifReader.processBoxes.heif", "corrupt"},
    {"nom-exif/compatible-brands.heic", "the first box and nothing else"},
    {"nom-exif/compatible-brands.mov", "the first box and nothing else"},
    {"nom-exif/exif-no-tz.jpg", "cut off within the segment behind its metadata"},
    {"nom-exif/oom_large_box.heic", "a box of impossible size"},
    {"pigallery2/broken image.JPG", "all zeros"},
    {"pillow/broken.png", "no header"},
    {"small/Mpeg4.mp4", "without any stream"},
    {"small/png-truncated.png", "cut off within the header"},
    {"streamio-ffmpeg/broken.mp4", "without an index of its streams"},
    {"streamio-ffmpeg/empty.flv", "without any stream"},
    {"tika/testAVIF.avif", "cut off within its metadata"},
    {"tika/testMP4_QuickTimeMetadata.mov", "its tracks are data, none of them a picture"},
    {"tika/testMP4_udtaLocation.mp4", "without any stream"},
    {"twelvemonkeys/51432b02-02a8-11e7-9203-b42b1c43c0c3.jpg", "a segment that reaches beyond the end"},
    {"twelvemonkeys/5145e95a-02a8-11e7-8372-4787a7307ab8.jpg", "seven bytes"},
    {"twelvemonkeys/broken-adobe-segment-length-beyond-eof.jpg", "a segment that reaches beyond the end"},
};

// Values that differ from the reader's for a good reason.
const std::map<std::string, Reasons> kDifferences = {
    {"bep-imagemeta/sample.arw", {{"size", "the whole sensor, not the part of it that is developed"}}},
    {"go-mp4/sample_fragmented.mp4", {{"duration", "the reader does not add up the fragments"}}},
    {"pigallery2/edge_case_exif_data/before_epoch.jpg", {{"taken", "a year before 1901 is stored as none"}}},
    {"pigallery2/edge_case_exif_data/date_error.JPG", {{"taken", "no date: the file's own time is taken"}}},
    {"pigallery2/live_photo/IMG_7943.HEIC", {{"size", "what its crop leaves, which viewers show"}}},
    {"pigallery2/sidecar/20240128_120909.mp4", {{"size", "as coded, not as shown"}}},
    {"pillow/hopper_orientation_6.webp", {{"rotation", "in an Exif chunk that the reader does not see"}}},
};

constexpr int kPeople = 0;
constexpr int kKeywords = 2;

double Number(const Json::Value& value) {
  return value.isNumeric() ? value.asDouble() : std::stod(value.asString());
}

// The first of KEYS that ENTRY has, null when it has none.
Json::Value FirstOf(const Json::Value& entry, const std::vector<const char*>& keys) {
  for (const char* key : keys) {
    if (entry.isMember(key)) return entry[key];
  }
  return {};
}

bool IsMedia(const std::string& path) {
  std::string extension = fs::path(path).extension();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  return !kOtherExtensions.contains(extension);
}

// The files keep their times: those of photos without a date are stored.
void CopyTree(const fs::path& from, const fs::path& to) {
  for (const auto& entry : fs::recursive_directory_iterator(from)) {
    if (!entry.is_regular_file()) continue;
    const fs::path copy = to / entry.path().lexically_relative(from);
    fs::create_directories(copy.parent_path());
    fs::copy_file(entry.path(), copy);
    fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);
    fs::last_write_time(copy, entry.last_write_time());
  }
}

// The shared photos, indexed, and what the database says of them.
class IndexedCopy {
 public:
  IndexedCopy() : folder_(dir_.path() / "media") {
    std::ifstream(SharedPhotos() / "expected.json") >> expected_;
    CopyTree(SharedPhotos() / "media", folder_);
    const std::vector<std::string> arguments = {
        "index", folder_, "--root=" + (dir_.path() / "state").string(), "--quiet", "--json"};
    result_ = ProgramRun(arguments, dir_.path() / "run", {}, std::nullopt).Wait();
    photos_ = Rows("photo_image");
    videos_ = Rows("video");
    for (const DatabaseRow& row : Query(
             "SELECT P.path, L.category, L.name FROM photo_image P JOIN photo_image_label B ON B.image_id = "
             "P.id JOIN photo_label L ON L.id = B.label_id")) {
      labels_[{row.at("path"), std::stoi(row.at("category"))}].insert(row.at("name"));
    }
  }

  const Json::Value& expected() const { return expected_; }
  const RunResult& result() const { return result_; }
  const std::map<std::string, DatabaseRow>& photos() const { return photos_; }
  const std::map<std::string, DatabaseRow>& videos() const { return videos_; }
  Strings Labels(const std::string& path, int category) const {
    const auto labels = labels_.find({path, category});
    return labels == labels_.end() ? Strings() : labels->second;
  }

 private:
  std::vector<DatabaseRow> Query(const std::string& sql) const {
    return QueryDatabase(folder_ / ".KAVOHGADB", sql);
  }
  std::map<std::string, DatabaseRow> Rows(const std::string& table) const {
    std::map<std::string, DatabaseRow> rows;
    for (DatabaseRow& row : Query("SELECT * FROM " + table)) rows[row.at("path")] = std::move(row);
    return rows;
  }

  TempDir dir_;
  fs::path folder_;
  Json::Value expected_;
  RunResult result_;
  std::map<std::string, DatabaseRow> photos_;
  std::map<std::string, DatabaseRow> videos_;
  std::map<std::pair<std::string, int>, Strings> labels_;
};

class SharedPhotosTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!SharedPhotos().empty()) copy_ = std::make_unique<IndexedCopy>();
  }
  static void TearDownTestSuite() { copy_.reset(); }
  void SetUp() override {
    if (!copy_) GTEST_SKIP() << "no shared photos";
  }

  using Check = std::function<void(const Json::Value& entry, const DatabaseRow& row)>;
  static void ForEach(const std::map<std::string, DatabaseRow>& rows, const Check& check) {
    compared_ = 0;
    for (const Json::Value& entry : copy_->expected()) {
      const auto row = rows.find(entry["path"].asString());
      if (row != rows.end()) check(entry, row->second);
    }
    EXPECT_GT(compared_, 0) << "the files tell nothing of this";
  }
  static void ForEachPhoto(const Check& check) { ForEach(copy_->photos(), check); }
  static void ForEachVideo(const Check& check) { ForEach(copy_->videos(), check); }

  // FOUND is what the reader says, unless the file is known to differ in WHAT; then it must differ, or the
  // list is out of date.
  template <typename Value>
  static void Expect(const Json::Value& entry, const char* what, const Value& found, const Value& wanted) {
    const std::string path = entry["path"].asString();
    const auto known = kDifferences.find(path);
    ++compared_;
    if (known == kDifferences.end() || !known->second.contains(what)) {
      EXPECT_EQ(found, wanted) << path << " " << what;
    } else {
      EXPECT_NE(found, wanted) << path << " " << what << ": " << known->second.at(what);
    }
  }
  static void ExpectText(const Json::Value& entry, const char* key, const std::string& found) {
    if (entry.isMember(key)) Expect(entry, key, Trimmed(found), Trimmed(entry[key].asString()));
  }
  static void ExpectSize(const Json::Value& entry, const DatabaseRow& row) {
    ExpectText(entry, "size", row.at("resolutionx") + " " + row.at("resolutiony"));
  }
  static void ExpectCoordinate(const Json::Value& entry, const std::string& found, const char* key,
                               const char* positive) {
    constexpr double kTolerance = 1e-5;
    const std::string reference = std::string(key) + "_ref";
    ++compared_;
    const double wanted = Number(entry[key]) * (entry[reference] == positive ? 1 : -1);
    ASSERT_NE(found, "NULL") << entry["path"];
    EXPECT_NEAR(std::stod(found), wanted,
                kTolerance + std::abs(wanted) * std::numeric_limits<float>::epsilon())
        << entry["path"] << " " << key;
  }

  static inline std::unique_ptr<IndexedCopy> copy_;
  static inline int compared_ = 0;  // values, by the check that goes on
};

TEST_F(SharedPhotosTest, TheRunNamesEveryFileThatGetsNoRow) {
  EXPECT_EQ(copy_->result().status, 3);
  EXPECT_EQ(copy_->result().err, "");
  const Json::Value report = StrictJson(copy_->result().out);
  for (const auto& [path, reason] : kWithoutRow)
    EXPECT_NE(FailureOf(report, path), "") << path << ": " << reason;
}

TEST_F(SharedPhotosTest, EveryOtherPhotoAndVideoHasOneRow) {
  std::size_t rows = 0;
  for (const Json::Value& entry : copy_->expected()) {
    const std::string path = entry["path"].asString();
    const bool wanted = IsMedia(path) && !kWithoutRow.contains(path);
    EXPECT_EQ(copy_->photos().count(path) + copy_->videos().count(path), wanted ? 1U : 0U) << path;
    rows += wanted ? 1 : 0;
  }
  EXPECT_EQ(copy_->photos().size() + copy_->videos().size(), rows);
}

TEST_F(SharedPhotosTest, RotationsAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    const Json::Value orientation = FirstOf(entry, {"exif_orientation", "xmp_orientation"});
    const std::string found = row.at("rotation");
    // Upright and unknown are the same to the reader.
    const bool upright = orientation.isNull() && found == "0";
    Expect<std::string>(entry, "rotation", upright ? "1" : found,
                        orientation.isNull() ? "1" : orientation.asString());
  });
}

TEST_F(SharedPhotosTest, PositionsAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    const bool complete = entry.isMember("gps_lat") && entry.isMember("gps_lat_ref") &&
                          entry.isMember("gps_lng") && entry.isMember("gps_lng_ref");
    if (complete) {
      ExpectCoordinate(entry, row.at("lat"), "gps_lat", "N");
      ExpectCoordinate(entry, row.at("lng"), "gps_lng", "E");
    } else {
      EXPECT_EQ(row.at("lat") + " " + row.at("lng"), "NULL NULL") << entry["path"];
    }
  });
}

TEST_F(SharedPhotosTest, KeywordsAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    Strings wanted;
    for (const Json::Value& item : FirstOf(entry, {"xmp_subject", "iptc_keywords"})) {
      std::istringstream pieces(item.asString());
      for (std::string piece; std::getline(pieces, piece, ',');) wanted.insert(Trimmed(piece));
    }
    wanted.erase("");
    Expect(entry, "keywords", copy_->Labels(row.at("path"), kKeywords), wanted);
  });
}

TEST_F(SharedPhotosTest, PeopleAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    Strings wanted;
    for (const Json::Value& region : entry["regions"]) {
      if (!region["name"].isNull()) wanted.insert(region["name"].asString());
    }
    Strings found = copy_->Labels(row.at("path"), kPeople);
    found.erase("");  // faces without a name
    Expect(entry, "people", found, wanted);
  });
}

TEST_F(SharedPhotosTest, DescriptionsAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    Json::Value wanted;
    for (const char* key : {"xmp_description", "xmp_headline", "iptc_caption", "exif_description"}) {
      if (wanted.asString().empty()) wanted = entry[key];
    }
    const std::string found = row.at("description") == "NULL" ? "" : row.at("description");
    Expect(entry, "description", Trimmed(found), Trimmed(wanted.asString()));
  });
}

TEST_F(SharedPhotosTest, CamerasAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    ExpectText(entry, "make", row.at("camera_make"));
    ExpectText(entry, "model", row.at("camera_model"));
    ExpectText(entry, "iso", row.at("iso"));
  });
}

TEST_F(SharedPhotosTest, TakenTimesAgree) {
  ForEachPhoto([](const Json::Value& entry, const DatabaseRow& row) {
    if (!entry.isMember("taken")) return;
    constexpr std::size_t kWithoutFraction = 19;
    std::string taken = entry["taken"].asString().substr(0, kWithoutFraction);
    taken[4] = taken[7] = '-';
    Expect(entry, "taken", row.at("timetaken"), taken);
  });
}

TEST_F(SharedPhotosTest, SizesAgree) {
  ForEachPhoto(ExpectSize);
  ForEachVideo(ExpectSize);
}

TEST_F(SharedPhotosTest, DurationsAreWholeSeconds) {
  ForEachVideo([](const Json::Value& entry, const DatabaseRow& row) {
    if (!entry.isMember("duration_s")) return;
    Expect(entry, "duration", std::stoi(row.at("duration")), static_cast<int>(Seconds(entry["duration_s"])));
  });
}

TEST_F(SharedPhotosTest, VideoRotationsAreOrientationCodes) {
  const std::map<int, std::string> codes = {{0, "1"}, {90, "6"}, {180, "3"}, {270, "8"}};
  ForEachVideo([&](const Json::Value& entry, const DatabaseRow& row) {
    if (!entry.isMember("rotation_deg")) return;
    Expect(entry, "rotation", row.at("rotation"), codes.at(entry["rotation_deg"].asInt()));
  });
}

}  // namespace
