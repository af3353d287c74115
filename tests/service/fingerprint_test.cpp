#include "files/fingerprint.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_dir.h"

namespace {

// Many times a sample.
constexpr std::size_t kSize = 300'000;

class FingerprintTest : public testing::Test {
 protected:
  std::string Of(const std::string& content) const {
    WriteFile(dir_ / "file", content);
    return Fingerprint(dir_ / "file");
  }

  TempDir dir_;
};

TEST_F(FingerprintTest, IsThatOfTheContentWhateverTheName) {
  const std::string content(kSize, 'x');
  WriteFile(dir_ / "other", content);
  EXPECT_EQ(Of(content), Fingerprint(dir_ / "other"));
  EXPECT_NE(Of(content), "");
}

TEST_F(FingerprintTest, TellsAChangeOfTheBeginningTheMiddleOrTheEnd) {
  const std::string content(kSize, 'x');
  const std::string plain = Of(content);
  for (const std::size_t at : {std::size_t{0}, kSize / 2, kSize - 1}) {
    std::string changed = content;
    changed[at] = 'y';
    EXPECT_NE(Of(changed), plain) << at;
  }
}

TEST_F(FingerprintTest, TellsTheSize) {
  EXPECT_NE(Of(std::string(kSize, 'x')), Of(std::string(kSize + 1, 'x')));
  EXPECT_NE(Of(""), Of(std::string(1, '\0')));
}

TEST_F(FingerprintTest, OfWhatIsNoFileThereIsNone) {
  EXPECT_EQ(Fingerprint(dir_ / "missing"), "");
  EXPECT_EQ(Fingerprint(dir_.path()), "");
}

}  // namespace
