// Requests of which it cannot be told whose they are: none of them is a shared one.
#include <gmock/gmock.h>

#include <filesystem>

#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "support/databases.h"

namespace fs = std::filesystem;

namespace {

class UnknownOwner : public testing::Test {
 protected:
  void SetUp() override { tree_.AddUser("alice"); }
  void SpoilList() { fs::create_directories(list()); }
  void MendList() { fs::remove(list()); }
  fs::path list() const { return tree_.root() / "etc/kavo/personal.conf"; }
  std::string shared_photo() const { return tree_.shared() / "a.jpg"; }
  std::string own_photo() const { return tree_.personal("alice") / "a.jpg"; }

  ApplianceTree tree_;
};

TEST_F(UnknownOwner, NoPathIsARequest) {
  SpoilList();
  EXPECT_EQ(HGAStatusCheck(shared_photo().c_str()), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(HGAStatusCheck(own_photo().c_str()), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_STREQ(HGAStatusDBPathGet(), "");
  EXPECT_EQ(HGAStatusCheck(("user:alice:" + own_photo()).c_str()), -1);
  EXPECT_FALSE(fs::exists(tree_.personal("alice") / ".KAVOHGADB"));
}

TEST_F(UnknownOwner, RequestsGoOnWhenTheListCanBeRead) {
  SpoilList();
  EXPECT_EQ(HGAStatusCheck(shared_photo().c_str()), -1);
  MendList();
  EXPECT_EQ(HGAStatusCheck(shared_photo().c_str()), 0);
  EXPECT_EQ(HGAStatusIsHGARequest(), 0);
  EXPECT_EQ(HGAStatusCheck(own_photo().c_str()), 0);
  EXPECT_STREQ(HGAStatusUserNameGet(), "alice");
}

TEST_F(UnknownOwner, NothingIsAnsweredOrDone) {
  SpoilList();
  EXPECT_EQ(IndexIsIndexPath(shared_photo().c_str(), 4), -1);
  EXPECT_EQ(IndexIsShareIndexed(tree_.shared().c_str()), 0);
  EXPECT_EQ(IndexDelete(own_photo().c_str()), -1);
  EXPECT_EQ(IndexDirDelete(tree_.shared().c_str()), -1);
  EXPECT_EQ(IndexPostReindex(tree_.shared().c_str()), -1);
  char user[64] = "before";
  EXPECT_EQ(IndexPhotoUserNameGet(shared_photo().c_str(), user, sizeof user), -1);
  EXPECT_STREQ(user, "before");
}

class LongRoot : public testing::Test {
 protected:
  static void Set(std::size_t length) {
    setenv("LUMIVAULT_ROOT", ("/" + std::string(length - 1, 'x')).c_str(), 1);
  }
  void TearDown() override { unsetenv("LUMIVAULT_ROOT"); }
};

// On the way to 4,096 bytes some places could still be named and others not.
TEST_F(LongRoot, NothingOfTheMachinesOwnTreeTakesItsPlace) {
  for (const std::size_t length : {3073U, 4060U, 4096U, 5000U}) {
    Set(length);
    EXPECT_EQ(HGAStatusCheck("/var/services/photo/a.jpg"), -1) << length;
    EXPECT_EQ(PhotoUtilPhotoDirGet(), nullptr) << length;
  }
  EXPECT_FALSE(fs::exists("/var/services/photo"));
}

}  // namespace
