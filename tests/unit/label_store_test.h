// The operations on labels, links and faces over the substitutes of the platform.
#ifndef TESTS_UNIT_LABEL_STORE_TEST_H_
#define TESTS_UNIT_LABEL_STORE_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

inline constexpr const char* kForeignKeys = "PRAGMA foreign_keys = ON;";
inline constexpr const char* kSharedPhoto = "/volume1/photo/a.jpg";

inline std::string Logged(const std::string& text) {
  return "photo_database.cpp:# " + text;
}

// No operation may leave a connection of its own or a result behind.
class LabelStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    gHGAInformation = {};
  }
  void TearDown() override {
    PhotoDBConnClose();
    EXPECT_EQ(fake().open_connections, 0);
    EXPECT_EQ(fake().open_results, 0);
    EXPECT_EQ(fake().Count("RLIBCSzListAlloc"), fake().Count("RLIBCSzListFree") + failed_lists_);
    gHGAInformation = {};
  }

  static FakePlatform& fake() { return FakePlatform::Get(); }
  static void Answer(const std::string& match, const std::vector<std::map<std::string, std::string>>& rows,
                     bool once = false) {
    fake().answers.push_back({.match = match, .rows = rows, .once = once});
  }
  static void Fail(const std::string& match) { fake().answers.push_back({.match = match, .result = -1}); }

  // Makes the library of alice and the request one of hers; a photo in it.
  std::string PersonalPhoto() {
    photos_ = fake().AddPersonalLibrary(dir_.path(), "alice");
    EXPECT_EQ(HGAStatusCheck(photos_.c_str()), 0);
    return photos_ + "/2024/a.jpg";
  }

  TempDir dir_;
  std::string photos_;
  int failed_lists_ = 0;
};

#endif  // TESTS_UNIT_LABEL_STORE_TEST_H_
