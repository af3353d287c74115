// By what a file system is told from another that comes in its place.
#include "files/file_system_id.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

class FileSystemIdTest : public testing::Test {
 protected:
  const std::uint64_t number_ = makedev(259, 300);
  static constexpr std::uint64_t kEncoded = (300 & 0xff) | (259 << 8) | ((300 & ~0xff) << 12);
  FileSystemFacts Facts(std::uint64_t id, std::int64_t birth, const std::string& name = "") const {
    return {id, 0x58465342, number_, 128, birth, name};
  }
  static FileSystemFacts AsAnother(FileSystemFacts facts) {
    if (facts.id == kEncoded) ++facts.id;
    ++facts.device;
    return facts;
  }
};

TEST_F(FileSystemIdTest, IsTheSameOnAnotherDeviceWhereTheFolderIsBorn) {
  for (const std::uint64_t id : {std::uint64_t{0}, kEncoded, std::uint64_t{77}}) {
    EXPECT_EQ(FileSystemId(Facts(id, 5)), FileSystemId(AsAnother(Facts(id, 5)))) << id;
    EXPECT_NE(FileSystemId(Facts(id, 5)), FileSystemId(Facts(id, 6))) << id;
  }
  EXPECT_NE(FileSystemId(Facts(77, 5)), FileSystemId(Facts(78, 5)));
}

TEST_F(FileSystemIdTest, IsThatOfTheNameOfTheDevice) {
  for (const std::int64_t birth : {0, 5}) {
    EXPECT_EQ(FileSystemId(Facts(kEncoded, birth, "1234")),
              FileSystemId(AsAnother(Facts(kEncoded, birth, "1234"))));
    EXPECT_NE(FileSystemId(Facts(kEncoded, birth, "1234")), FileSystemId(Facts(kEncoded, birth, "5678")));
  }
}

TEST_F(FileSystemIdTest, WithoutBirthAndNameIsThatOfItsNumber) {
  EXPECT_NE(FileSystemId(Facts(0, 0)), FileSystemId(AsAnother(Facts(0, 0))));
  EXPECT_NE(FileSystemId(Facts(kEncoded, 0)), FileSystemId(AsAnother(Facts(kEncoded, 0))));
  EXPECT_EQ(FileSystemId(Facts(77, 0)), FileSystemId(AsAnother(Facts(77, 0))));
}

TEST_F(FileSystemIdTest, TakesNoNoticeOfTheBirthOfARootThatIsBornWhenItIsMounted) {
  FileSystemFacts one = Facts(77, 5);
  one.type = 0x2011BAB0;
  FileSystemFacts other = one;
  other.birth = 6;
  EXPECT_EQ(FileSystemId(one), FileSystemId(other));
}

TEST(NameOfDevice, IsThatOfTheLinkThatLeadsToIt) {
  for (const auto& entry : fs::directory_iterator("/dev")) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) continue;
    const TempDir links;
    fs::create_symlink("/dev/null", links.path() / "0000");
    fs::create_symlink(entry.path(), links.path() / "1234-ABCD");
    EXPECT_EQ(NameOfDevice(status.st_rdev, links.path()), "1234-ABCD");
    EXPECT_EQ(NameOfDevice(status.st_rdev + 1, links.path()), "");
    EXPECT_EQ(NameOfDevice(status.st_rdev, links.path() / "nowhere"), "");
    return;
  }
  GTEST_SKIP() << "no block device here";
}

}  // namespace
