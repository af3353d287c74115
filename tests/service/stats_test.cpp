#include <filesystem>

#include "support/media_maker.h"
#include "support/service_test.h"

namespace {

class StatsTest : public ServiceTest {
 protected:
  Json::Value Stats() {
    const RunResult result = Run({"stats", folder(), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    return StrictJson(result.out);
  }
  void EmptyLibrary() {
    std::filesystem::create_directory(folder());
    Index();
  }
};

TEST_F(StatsTest, PhotosAreCountedWithTheirBytesAndTimes) {
  MakeJpeg(File("a.jpg"), 8, 8, {{"Exif.Photo.DateTimeOriginal", "2001:02:03 04:05:06"}});
  MakeJpeg(File("in/b.jpg"), 9, 8, {{"Exif.Photo.DateTimeOriginal", "2024:05:06 07:08:09"}});
  Index();
  const Json::Value stats = Stats();
  EXPECT_EQ(stats["library"].asString(), folder().string());
  EXPECT_EQ(stats["photos"]["count"].asInt(), 2);
  EXPECT_EQ(stats["photos"]["oldest_taken"].asString(), "2001-02-03 04:05:06");
  EXPECT_EQ(stats["photos"]["newest_taken"].asString(), "2024-05-06 07:08:09");
  EXPECT_EQ(stats["photos"]["bytes"].asUInt64(),
            std::filesystem::file_size(File("a.jpg")) + std::filesystem::file_size(File("in/b.jpg")));
  EXPECT_EQ(stats["photos"]["without_taken_time"].asInt(), 0);
  EXPECT_EQ(stats["albums"].asInt(), 2);
}

TEST_F(StatsTest, TheTimeOfUntakenPhotosIsNeitherOldestNorNewest) {
  EmptyLibrary();
  Query(
      "INSERT INTO photo_image (path, timetaken) VALUES ('a', '1970-01-01 00:00:00'), ('b', NULL), ('c', "
      "''), "
      "('d', '1999-01-01 00:00:00')");
  const Json::Value photos = Stats()["photos"];
  EXPECT_EQ(photos["without_taken_time"].asInt(), 3);
  EXPECT_EQ(photos["oldest_taken"].asString(), "1999-01-01 00:00:00");
  EXPECT_EQ(photos["newest_taken"].asString(), "1999-01-01 00:00:00");
}

TEST_F(StatsTest, PositionsAndDisabledFilesAreCounted) {
  EmptyLibrary();
  Query(
      "INSERT INTO photo_image (path, lat, lng, gps, disabled) VALUES ('a', 1.5, 2.5, 'x', 't'), "
      "('b', NULL, NULL, 'text alone', 'f'), ('c', 1, NULL, '', 't'), ('d', 0, 0, NULL, 'f')");
  Query(
      "INSERT INTO video (path, lat, lng, disabled, filesize) VALUES ('v', 1, 2, 't', 5000000000), "
      "('w', NULL, NULL, 'f', 1)");
  const Json::Value stats = Stats();
  EXPECT_EQ(stats["photos"]["with_position"].asInt(), 3);
  EXPECT_EQ(stats["photos"]["disabled"].asInt(), 2);
  EXPECT_EQ(stats["videos"]["count"].asInt(), 2);
  EXPECT_EQ(stats["videos"]["with_position"].asInt(), 1);
  EXPECT_EQ(stats["videos"]["disabled"].asInt(), 1);
  EXPECT_EQ(stats["videos"]["bytes"].asInt64(), 5'000'000'001);
}

TEST_F(StatsTest, LabelsAreCountedByKind) {
  EmptyLibrary();
  Query(
      "INSERT INTO photo_label (category, name) VALUES (0, 'a'), (0, 'b'), (1, 'c'), (2, 'd'), (2, 'e'), "
      "(2, 'f'), (9, 'g')");
  const Json::Value labels = Stats()["labels"];
  EXPECT_EQ(labels["person"].asInt(), 2);
  EXPECT_EQ(labels["place"].asInt(), 1);
  EXPECT_EQ(labels["keyword"].asInt(), 3);
  EXPECT_EQ(labels["other"].asInt(), 1);
}

TEST_F(StatsTest, AnEmptyLibraryHasNothingButTheRootAlbum) {
  EmptyLibrary();
  const Json::Value stats = Stats();
  EXPECT_EQ(stats["photos"]["count"].asInt(), 0);
  EXPECT_TRUE(stats["photos"]["bytes"].isInt());
  EXPECT_TRUE(stats["photos"]["oldest_taken"].isNull());
  EXPECT_EQ(stats["albums"].asInt(), 1);
  EXPECT_EQ(stats["labels"]["keyword"].asInt(), 0);
}

TEST_F(StatsTest, TheTextForPeopleSaysTheSame) {
  MakeJpeg(File("a.jpg"), 8, 8, {{"Exif.Photo.DateTimeOriginal", "2001:02:03 04:05:06"}});
  Index();
  EXPECT_EQ(
      Run({"stats", folder()}).out,
      "photos: 1\nphotos with position: 0\nphotos without taken time: 0\nphotos disabled: 0\nphoto bytes: " +
          std::to_string(std::filesystem::file_size(File("a.jpg"))) +
          "\noldest taken: 2001-02-03 04:05:06\nnewest taken: 2001-02-03 04:05:06\nvideos: 0\nvideos with "
          "position: 0\nvideos disabled: 0\nvideo bytes: 0\nalbums: 1\nlabels (keyword): 0\nlabels (other): "
          "0\nlabels (person): 0\nlabels (place): 0\n");
}

}  // namespace
