#include "platform/file_rights.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "core/file_identity.h"
#include "support/temp_dir.h"

namespace {

constexpr uid_t kOne = 20001;
constexpr uid_t kOther = 20002;

// What the system says of a thread: users, groups, further groups.
std::string Identity() {
  const std::string status = ReadFile("/proc/thread-self/status");
  const std::size_t begin = status.find("Uid:");
  return status.substr(begin, status.find('\n', status.find("Groups:")) - begin);
}

// A file of each person's, which nobody else may read, and one of a group's.
class FileRightsTest : public testing::Test {
 protected:
  static constexpr gid_t kGroup = 20003;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root takes on the rights of others";
    ASSERT_EQ(setgroups(1, &kGroup), 0);
    ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
    for (const uid_t person : {kOne, kOther}) Make(std::to_string(person), person, 0, 0600);
    Make("group", kOther, kGroup, 0640);
    Make("of-root", 0, 0, 0600);
  }
  void TearDown() override { KAVOFileRightsReturn(); }

  bool MayRead(const std::string& name) const {
    return static_cast<bool>(FileDescriptor(open((dir_.path() / name).c_str(), O_RDONLY | O_CLOEXEC)));
  }
  // Which of the files this thread may read.
  std::vector<std::string> Readable() const {
    std::vector<std::string> names;
    for (const char* name : {"20001", "20002", "group", "of-root"})
      if (MayRead(name)) names.emplace_back(name);
    return names;
  }
  using Names = std::vector<std::string>;
  static inline const Names kAll{"20001", "20002", "group", "of-root"};

 private:
  void Make(const std::string& name, uid_t user, gid_t group, mode_t mode) const {
    WriteFile(dir_.path() / name, "x");
    ASSERT_EQ(chown((dir_.path() / name).c_str(), user, group), 0);
    ASSERT_EQ(chmod((dir_.path() / name).c_str(), mode), 0);
  }

  TempDir dir_;
};

TEST_F(FileRightsTest, AreThePersonsAlone) {
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  EXPECT_EQ(Readable(), Names{"20001"}) << "the groups of the process are not the person's";
}

TEST_F(FileRightsTest, AreGivenBackWhole) {
  const std::string before = Identity();
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  EXPECT_NE(Identity(), before);
  KAVOFileRightsReturn();
  EXPECT_EQ(Identity(), before);
  EXPECT_EQ(Readable(), kAll);
  KAVOFileRightsReturn();
  EXPECT_EQ(Readable(), kAll);
}

TEST_F(FileRightsTest, MayBeThoseOfAnotherAfterwards) {
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  KAVOFileRightsReturn();
  ASSERT_EQ(KAVOFileRightsTake(kOther), 0);
  EXPECT_EQ(Readable(), (Names{"20002", "group"}));
}

TEST_F(FileRightsTest, AreTakenOnceAtATime) {
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  EXPECT_EQ(KAVOFileRightsTake(kOther), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(Readable(), Names{"20001"});
}

TEST_F(FileRightsTest, AreOneThreadsAlone) {
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  Names of_another;
  std::thread([&] { of_another = Readable(); }).join();
  EXPECT_EQ(of_another, Names{"20001"}) << "a thread begins with those of the one that makes it";
  KAVOFileRightsReturn();
  std::thread([&] { EXPECT_EQ(KAVOFileRightsTake(kOther), 0); }).join();
  EXPECT_EQ(Readable(), kAll);
}

TEST_F(FileRightsTest, OfOneWithinAnotherEndWithIt) {
  ASSERT_EQ(KAVOFileRightsTake(kOne), 0);
  const std::string of_one = Identity();
  {
    const FileIdentity within(kOther);
    ASSERT_TRUE(within);
    EXPECT_EQ(Readable(), (Names{"20002", "group"}));
  }
  EXPECT_EQ(Identity(), of_one);
  EXPECT_EQ(Readable(), Names{"20001"});
}

// No other thread has them meanwhile, groups included.
TEST_F(FileRightsTest, OfOneThreadAreNotAnothers) {
  const std::string before = Identity();
  std::promise<void> taken;
  std::promise<void> looked;
  std::thread other([&] {
    EXPECT_EQ(KAVOFileRightsTake(kOne), 0);
    taken.set_value();
    looked.get_future().wait();
    EXPECT_EQ(Readable(), Names{"20001"});
  });
  taken.get_future().wait();
  EXPECT_EQ(Identity(), before);
  EXPECT_EQ(Readable(), kAll);
  looked.set_value();
  other.join();
}

}  // namespace
