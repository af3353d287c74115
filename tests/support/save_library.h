// A library in which photos are saved, over substitutes of the platform.
#ifndef TESTS_SUPPORT_SAVE_LIBRARY_H_
#define TESTS_SUPPORT_SAVE_LIBRARY_H_

#include <json/value.h>

#include <string>
#include <vector>

#include "support/fake_library.h"
#include "support/media_maker.h"
#include "support/media_record.h"

inline constexpr const char* kSaveTool = "/usr/kavo/bin/exiv2";

class SaveTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    fake().programs = {{kSaveTool, {0, ""}}};
    Answer({.match = "SELECT id FROM photo_image", .rows = {{{"id", "7"}}}});
  }

  // The record of the photo "trip/b.jpg" of the shared tree.
  Json::Value Photo() const {
    Json::Value info(Json::objectValue);
    info["szPath"] = shared() + "/trip/b.jpg";
    info["szName"] = "b.jpg";
    info["szTitle"] = "b";
    info["szAlbum"] = "trip";
    FillPhoto(info);
    info["resolutionX"] = 400;
    info["resolutionY"] = 300;
    return info;
  }
  // The photo has a row with this title and description.
  void AddRow(const std::string& title, const std::string& description) {
    Answer({.match = "SELECT path, title, description FROM photo_image",
            .rows = {{{"path", "x"}, {"title", title}, {"description", description}}}});
  }
  static int Save(Json::Value info, int type = PHOTO_TABLE_IMAGE) {
    return PhotoInfoDBSave(static_cast<PHOTO_TABLE_TYPE>(type), &info);
  }
  // The one statement that writes photo_image.
  std::string Written() const {
    std::vector<std::string> written;
    for (const auto& sql : fake().statements) {
      if (sql.starts_with("INSERT INTO photo_image (path") || sql.starts_with("UPDATE photo_image SET")) {
        written.push_back(sql);
      }
    }
    EXPECT_EQ(written.size(), 1U);
    return written.empty() ? "" : written.front();
  }
};

#endif  // TESTS_SUPPORT_SAVE_LIBRARY_H_
