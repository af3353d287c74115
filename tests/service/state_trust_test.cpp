#include "library/state_trust.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "library/state_root.h"
#include "service/state_root_fixture.h"
#include "support/access_list.h"
#include "support/child_processes.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

// Who else has a hand in it.
class StateTrustTest : public StateRootTest {
 protected:
  static constexpr uid_t kOther = 20001;
  static constexpr uid_t kUser = 20002;

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files to several people";
    fs::permissions(dir_path(), fs::perms(0755));
    Prepared();
  }
  static void Own(const fs::path& path, uid_t owner) {
    ASSERT_EQ(lchown(path.c_str(), owner, owner), 0) << path;
  }
  static void Mode(const fs::path& path, unsigned mode) { fs::permissions(path, fs::perms(mode)); }
  std::string Refusal() const {
    const auto located = StateRoot::Locate(root_path());
    if (located) return "";
    EXPECT_EQ(located.failure().status, ExitStatus::kConfiguration);
    return located.failure().message;
  }
  bool UserTrustsIt() const {
    return RunChildren(
        1, [&](int) { return setgid(kUser) == 0 && setuid(kUser) == 0 && Refusal().empty() ? 0 : 1; });
  }
  // The owner has all rights as well, the group may look, others nothing.
  static bool AllowToWrite(const fs::path& path, uid_t user) {
    return NameInAccessList(path, user, {7, 5, 0});
  }
  static std::string Foreign(const fs::path& path) {
    return path.string() +
           ": belongs to somebody else, who could change what a run does; remove it, or name another state "
           "folder with --root";
  }
  static std::string Open(const fs::path& path) {
    return path.string() +
           ": others, or a group, may write there, and could change what a run does; forbid them that, or "
           "name another state folder with --root";
  }
};

TEST_F(StateTrustTest, OnesOwnIsTrusted) {
  EXPECT_EQ(Refusal(), "");
}

TEST_F(StateTrustTest, AnotherUsersIsNot) {
  Own(root_path(), kOther);
  EXPECT_EQ(Refusal(), Foreign(root_path()));
  EXPECT_FALSE(UserTrustsIt());
}

TEST_F(StateTrustTest, AUserTrustsHisOwnAndRoots) {
  EXPECT_TRUE(UserTrustsIt());
  Own(root_path(), kUser);
  Mode(root_path(), 0755);
  EXPECT_TRUE(UserTrustsIt());
  EXPECT_EQ(Refusal(), Foreign(root_path()));
  Mode(root_path(), 0757);
  EXPECT_FALSE(UserTrustsIt());
}

// Others may be in it, whoever's group it is.
TEST_F(StateTrustTest, AUserTrustsNoneThatAGroupMayWriteTo) {
  Own(root_path(), kUser);
  Mode(root_path(), 0775);
  EXPECT_FALSE(UserTrustsIt());
  ASSERT_EQ(chown(root_path().c_str(), kUser, 0), 0);
  EXPECT_FALSE(UserTrustsIt());
}

// Its mode shows what somebody whom the list names may do as the rights of root's group.
TEST_F(StateTrustTest, OneThatAnAccessListOpensIsNot) {
  Mode(root_path(), 0750);
  ASSERT_TRUE(AllowToWrite(root_path(), kOther)) << "the file system has no access lists";
  EXPECT_EQ(ModeOf(root_path()), 0770U);
  EXPECT_EQ(Refusal(), Open(root_path()));
}

TEST_F(StateTrustTest, OneThatOthersMayWriteToIsNot) {
  Mode(root_path(), 01702);
  EXPECT_EQ(Refusal(), Open(root_path()));
  Mode(root_path(), 0720);
  EXPECT_EQ(Refusal(), "") << "root's own group";
  ASSERT_EQ(chown(root_path().c_str(), 0, kOther), 0);
  Mode(root_path(), 0720);
  EXPECT_EQ(Refusal(), Open(root_path()));
}

TEST_F(StateTrustTest, RootsIsNotInAFolderOfAnother) {
  Own(dir_path(), kOther);
  EXPECT_EQ(Refusal(), Foreign(dir_path()));
  EXPECT_TRUE(UserTrustsIt());
}

TEST_F(StateTrustTest, RootsIsNotInAFolderThatOthersMayWriteTo) {
  Mode(dir_path(), 0777);
  EXPECT_EQ(Refusal(), Open(dir_path()));
  Mode(dir_path(), 01777);
  EXPECT_EQ(Refusal(), "");
}

// What is there is root's; the way to it is not.
TEST_F(StateTrustTest, ALinkOfAnotherLeadsRootNowhere) {
  const fs::path link = dir_path() / "link";
  fs::create_directory_symlink(root_path(), link);
  EXPECT_TRUE(StateRoot::Locate(link)) << "root's own link";
  EXPECT_EQ(StateRoot::Locate(link / "new")->path(), root_path() / "new");
  Own(link, kOther);
  for (const fs::path& named : {link, link / "new"}) {
    const auto located = StateRoot::Locate(named);
    ASSERT_FALSE(located);
    EXPECT_EQ(located.failure().status, ExitStatus::kConfiguration);
    EXPECT_EQ(located.failure().message, named.string() +
                                             ": a link on the way belongs to somebody who does not own the "
                                             "folder; name the folder itself");
  }
}

TEST_F(StateTrustTest, WhatIsNotThereYetIsNotMadeInAFolderOfAnother) {
  fs::remove_all(root_path());
  EXPECT_EQ(Refusal(), "");
  Own(dir_path(), kOther);
  EXPECT_EQ(Refusal(), Foreign(dir_path()));
}

TEST_F(StateTrustTest, ANameOfAnotherInItIsNot) {
  for (const char* name : {"var/packages/Lumivault/etc/settings.conf", "var", "lock", "libraries"}) {
    const fs::path place = root_path() / name;
    Own(place, kOther);
    EXPECT_EQ(Refusal(), Foreign(place));
    Own(place, 0);
  }
  const fs::path tool = root_path() / "usr/kavo/bin/exiv2";
  fs::create_symlink("/nowhere", tool);
  EXPECT_EQ(Refusal(), "") << "root's own link";
  Own(tool, kOther);
  EXPECT_EQ(Refusal(), Foreign(tool));
}

TEST_F(StateTrustTest, ANameInItThatOthersMayWriteToIsNot) {
  for (const char* name : {"var/packages/Lumivault/etc/settings.conf", "var", "libraries", "usr/kavo/bin"}) {
    const fs::path place = root_path() / name;
    const mode_t before = ModeOf(place);
    Mode(place, 01777);
    EXPECT_EQ(Refusal(), "") << "nobody gets there";
    for (const unsigned entered : {0710U, 0701U}) {
      Mode(root_path(), entered);
      EXPECT_EQ(Refusal(), Open(place));
    }
    Mode(place, 0720);
    EXPECT_EQ(Refusal(), "") << "root's own group";
    ASSERT_EQ(chown(place.c_str(), 0, kOther), 0);
    Mode(place, 0720);
    EXPECT_EQ(Refusal(), Open(place));
    ASSERT_EQ(chown(place.c_str(), 0, 0), 0);
    Mode(place, before);
    Mode(root_path(), 0700);
  }
}

TEST_F(StateTrustTest, WhatIsKeptAboutALibraryIsNotInAFolderOfAll) {
  Mode(root_path(), 0755);
  const fs::path catalogue = root_path() / "libraries/photos-1/catalogue.db";
  WriteFile(catalogue, "");
  EXPECT_EQ(Refusal(), "");
  Mode(catalogue.parent_path(), 0777);
  EXPECT_EQ(Refusal(), Open(catalogue.parent_path()));
}

TEST_F(StateTrustTest, WhatIsKeptAboutALibraryIsNotAnothers) {
  const fs::path catalogue = root_path() / "libraries/photos-1/catalogue.db";
  WriteFile(catalogue, "");
  EXPECT_EQ(Refusal(), "");
  Own(catalogue, kOther);
  EXPECT_EQ(Refusal(), Foreign(catalogue));
}

TEST_F(StateTrustTest, TheFolderForJobsMayBe) {
  const fs::path jobs = root_path() / "libraries/photos-1/worker/var/services/photo/@eaDir";
  WriteFile(jobs / "kavophoto_face.queue", "");
  Own(jobs / "kavophoto_face.queue", kOther);
  Own(jobs, kOther);
  EXPECT_EQ(Refusal(), "");
}

}  // namespace
