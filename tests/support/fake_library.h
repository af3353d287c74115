// A library on the substitutes of the platform, for tests of the photo database's logic.
#ifndef TESTS_SUPPORT_FAKE_LIBRARY_H_
#define TESTS_SUPPORT_FAKE_LIBRARY_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/fixed_path.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_util/photo_dir.h"
#include "support/fake_platform.h"
#include "support/syslog_capture.h"
#include "support/temp_dir.h"

// The request is one of the shared tree until UsePersonal. Every test ends with all connections and results
// given back.
class FakeLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    FakePlatform::Reset();
    fake().root = dir_ / "root";
    std::filesystem::create_directories(shared());
    const std::filesystem::path link = fake().root + kSharedPhotoLink;
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::create_directory_symlink(shared(), link);
    ResetPhotoDirForTest();
    gHGAInformation = {};
  }

  void TearDown() override {
    PhotoDBConnClose();
    EXPECT_EQ(fake().open_connections, 0);
    EXPECT_EQ(fake().open_results, 0);
    gHGAInformation = {};
    ResetPhotoDirForTest();
  }

  // From here on the request is one of the personal folder of "alice".
  void UsePersonal() {
    const std::string settings = dir_ / "preference/kavoinfo.conf";
    WriteFile(settings, "");
    WriteFile(fake().root + kPackageMarker, "");
    WriteFile(personal() + "/.KAVOHGADB", "");
    fake().key_values[settings]["runpersonallumivault"] = "yes";
    fake().key_values[fake().root + kPackageSettings]["runpersonallumivault"] = "yes";
    fake().preference_dirs["alice"] = dir_ / "preference";
    fake().personal_folders["alice"] = personal();
    ASSERT_EQ(HGAStatusCheck(personal().c_str()), 0);
    ASSERT_EQ(HGAStatusIsHGARequest(), 1);
    fake().calls.clear();
  }

  static FakePlatform& fake() { return FakePlatform::Get(); }
  std::string shared() const { return dir_ / "photos"; }
  std::string personal() const { return dir_ / "alice"; }
  static std::vector<std::string> Messages() { return SyslogCapture::Messages(); }

  void Answer(const FakePlatform::Answer& answer) { fake().answers.push_back(answer); }
  // The statements that were sent and contain PART.
  static std::vector<std::string> Sent(const std::string& part) {
    std::vector<std::string> sent;
    for (const auto& statement : fake().statements) {
      if (statement.find(part) != std::string::npos) sent.push_back(statement);
    }
    return sent;
  }

 private:
  TempDir dir_;
};

#endif  // TESTS_SUPPORT_FAKE_LIBRARY_H_
