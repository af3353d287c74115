#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "index/mount_table.h"
#include "platform/index.h"
#include "support/appliance_tree.h"
#include "support/child_processes.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kTable =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "30 22 0:40 / /photo/nas rw shared:5 master:2 - nfs4 nas:/export rw,vers=4.2\n"
    "31 22 7:0 / /photo/my\\040disc\\134 ro - iso9660 /dev/loop0 ro\n"
    "malformed line\n"
    "32 22 0:41 / /photo/nas rw - tmpfs none rw\n"
    "33 22 8:2 / /photo2 rw - ext4 /dev/sdb1 rw\n";

std::string HolderOf(const std::string& path) {
  static const MountTable table = ParseMountTable(kTable);
  const Mount* mount = MountOf(table, path);
  return mount != nullptr ? mount->type + " " + mount->source + " at " + mount->point : "(none)";
}

TEST(MountTableTest, TheInnermostMountOnWholeComponentsHoldsAPath) {
  EXPECT_EQ(HolderOf("/photo/a.jpg"), "ext4 /dev/sda1 at /");
  EXPECT_EQ(HolderOf("/photo2/a.jpg"), "ext4 /dev/sdb1 at /photo2");
  EXPECT_EQ(HolderOf("/photo22/a.jpg"), "ext4 /dev/sda1 at /");
  EXPECT_EQ(HolderOf("/photo/my disc\\"), "iso9660 /dev/loop0 at /photo/my disc\\");
}

TEST(MountTableTest, OfTwoAtOnePlaceTheLaterHidesTheEarlier) {
  EXPECT_EQ(HolderOf("/photo/nas/a.jpg"), "tmpfs none at /photo/nas");
}

TEST(MountTableTest, AMountIsForeignOnlyToAFolderThatLiesOutsideIt) {
  const MountTable table = ParseMountTable(kTable);
  const auto foreign = [&](const char* path, const char* folder) {
    return LiesOnForeignMount(table, path, folder, geteuid());
  };
  EXPECT_TRUE(foreign("/photo/my disc\\/a.jpg", "/photo"));
  EXPECT_FALSE(foreign("/photo/my disc\\/a.jpg", "/photo/my disc\\"));
  EXPECT_FALSE(foreign("/photo/my disc\\/a.jpg", "/photo/my disc\\/library"));
  EXPECT_FALSE(foreign("/photo2/a.jpg", "/photo"));
}

TEST(MountTableTest, MalformedLinesAreLeftOut) {
  EXPECT_EQ(ParseMountTable(kTable).size(), 5U);
  EXPECT_TRUE(ParseMountTable("").empty());
  const std::string text = kTable;
  for (std::size_t length = 0; length <= text.size(); ++length) {
    EXPECT_LE(ParseMountTable(std::string_view(text).substr(0, length)).size(), 5U);
  }
}

TEST(MountTableTest, RemoteAndImageFileSystemsAreKnown) {
  const auto foreign = [](const char* type, const char* source) {
    return IsRemoteOrImage({"/x", type, source});
  };
  EXPECT_TRUE(foreign("nfs", "nas:/export"));
  EXPECT_TRUE(foreign("cifs", "//nas/share"));
  EXPECT_TRUE(foreign("fuse.sshfs", "me@nas:"));
  EXPECT_TRUE(foreign("fuse.unheard", "nas:/export"));
  EXPECT_TRUE(foreign("ext4", "/dev/loop3"));
  EXPECT_TRUE(foreign("udf", "/dev/sr0"));
  EXPECT_FALSE(foreign("ext4", "/dev/sda1"));
  EXPECT_FALSE(foreign("btrfs", "/dev/mapper/volume"));
  EXPECT_FALSE(foreign("tmpfs", "tmpfs"));
  EXPECT_FALSE(foreign("zfs", "pool/photos"));
  EXPECT_FALSE(foreign("overlay", "overlay"));
}

// The mount of a line with TYPE, SOURCE and OPTIONS, as the kernel writes them.
Mount MountOfLine(const std::string& type, const std::string& source, const std::string& options) {
  const std::string line =
      "40 22 0:50 / /photo/x rw shared:7 - " + type + " " + source + " " + options + "\n";
  const MountTable table = ParseMountTable(line);
  return table.empty() ? Mount() : table.front();
}

bool IsServedByUser(const std::string& type, const std::string& source, const std::string& options) {
  const Mount mount = MountOfLine(type, source, options);
  EXPECT_EQ(mount.type, type);
  return mount.served_by_user;
}

TEST(MountTableTest, WhoServesAFileSystemHimselfIsKnownByItsOptions) {
  constexpr const char* kUsers = "rw,user_id=1000,group_id=1000,default_permissions,allow_other";
  EXPECT_TRUE(IsServedByUser("fuse", "/dev/fuse", kUsers));
  EXPECT_TRUE(IsServedByUser("fuse.blob", "blob", kUsers));
  EXPECT_TRUE(IsServedByUser("fuse.blob", "blob", "user_id=1000"));
  EXPECT_TRUE(IsServedByUser("fuse.blob", "blob", "ro,user_id=10"));
  EXPECT_FALSE(IsServedByUser("fuse.blob", "blob", "rw,user_id=0,group_id=1000,allow_other"));
  EXPECT_FALSE(IsServedByUser("fuse.blob", "blob", "rw,group_id=1000"));
  EXPECT_FALSE(IsServedByUser("fuse.blob", "blob", "rw,other_user_id=1000"));
  EXPECT_FALSE(IsServedByUser("fusectl", "fusectl", "rw,user_id=1000"));
  EXPECT_FALSE(IsServedByUser("vfat", "/dev/sdb1", "rw,user_id=1000"));
}

// A source may be empty, or look like options.
TEST(MountTableTest, NoSourceHidesWhoServesAFileSystem) {
  EXPECT_TRUE(IsServedByUser("fuse.blob", "", "rw,user_id=1000"));
  EXPECT_EQ(MountOfLine("fuse.blob", "", "rw,user_id=1000").source, "");
  EXPECT_TRUE(IsServedByUser("fuse.blob", "-", "rw,user_id=1000"));
  EXPECT_TRUE(IsServedByUser("fuse.blob", "a\\040rw,user_id=0", "rw,user_id=1000"));
  EXPECT_FALSE(IsServedByUser("fuse.blob", "user_id=1000", "rw,user_id=0"));
}

TEST(MountTableTest, WhatAUserServesIsForeignToRootAlone) {
  constexpr uid_t kRoot = 0;
  constexpr uid_t kUser = 1000;
  const MountTable table = {{"/", "ext4", "/dev/sda1"},
                            {"/photo/users", "fuse.blob", "blob", true},
                            {"/photo/roots", "fuse.blob", "blob", false},
                            {"/photo/nas", "nfs", "nas:/export"}};
  const auto foreign = [&](const char* path, const char* folder, uid_t caller) {
    return LiesOnForeignMount(table, path, folder, caller);
  };
  EXPECT_TRUE(foreign("/photo/users/a.jpg", "/photo", kRoot));
  EXPECT_FALSE(foreign("/photo/users/a.jpg", "/photo", kUser));
  EXPECT_FALSE(foreign("/photo/users/a.jpg", "/photo/users", kRoot)) << "somebody has chosen it";
  EXPECT_FALSE(foreign("/photo/roots/a.jpg", "/photo", kRoot));
  for (const uid_t caller : {kRoot, kUser}) EXPECT_TRUE(foreign("/photo/nas/a.jpg", "/photo", caller));
}

// Mounts of our own, which need a mount namespace: each test runs in a child process. A tmpfs whose source
// names another machine stands in for one.
class MountsTest : public testing::Test {
 protected:
  static constexpr int kNoNamespace = 77;

  template <typename Body>
  void InNamespace(Body&& body) {
    const int status = WaitFor(StartChild([&] {
      if (unshare(CLONE_NEWNS) != 0) return kNoNamespace;
      if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return kNoNamespace;
      body();
      return testing::Test::HasFailure() ? 1 : 0;
    }));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoNamespace) GTEST_SKIP() << "may not mount";
    EXPECT_EQ(status, 0);
  }

  fs::path Folder(const char* name) {
    fs::create_directories(tree_.shared() / name);
    return tree_.shared() / name;
  }
  static void Mount(const fs::path& folder, const char* source) {
    ASSERT_EQ(mount(source, folder.c_str(), "tmpfs", 0, nullptr), 0);
  }

  ApplianceTree tree_;
};

bool IsForeign(const fs::path& path) {
  return IndexIsPathRemoteOrImageMount(path.c_str());
}

TEST_F(MountsTest, AMountIsNoticedWhenItComesAndWhenItGoes) {
  InNamespace([&] {
    const fs::path nas = Folder("nas");
    EXPECT_FALSE(IsForeign(nas / "a.jpg"));
    Mount(nas, "nas:/export");
    WriteFile(nas / "a.jpg", "");
    EXPECT_TRUE(IsForeign(nas / "a.jpg"));
    EXPECT_TRUE(IsForeign(nas));
    EXPECT_FALSE(IsForeign(tree_.shared() / "b.jpg"));
    EXPECT_EQ(umount(nas.c_str()), 0);
    EXPECT_FALSE(IsForeign(nas / "a.jpg"));
    Mount(nas, "none");
    EXPECT_FALSE(IsForeign(nas / "a.jpg"));
    EXPECT_EQ(umount(nas.c_str()), 0);
    Mount(nas, "nas:/export");
    EXPECT_TRUE(IsForeign(nas / "a.jpg"));
  });
}

TEST_F(MountsTest, AFileThatIsGoneLaySomewhere) {
  InNamespace([&] {
    const fs::path nas = Folder("nas");
    Mount(nas, "nas:/export");
    EXPECT_TRUE(IsForeign(nas / "trip" / "gone.jpg"));
    EXPECT_FALSE(IsForeign(tree_.shared() / "trip" / "gone.jpg"));
  });
}

TEST_F(MountsTest, ALibraryThatIsRemoteAsAWholeIsAChoice) {
  InNamespace([&] {
    Mount(tree_.shared(), "nas:/export");
    WriteFile(tree_.shared() / "trip" / "a.jpg", "");
    EXPECT_FALSE(IsForeign(tree_.shared() / "trip" / "a.jpg"));
    EXPECT_FALSE(IsForeign(tree_.shared()));
    Mount(Folder("disc"), "/dev/loop7");
    EXPECT_TRUE(IsForeign(tree_.shared() / "disc" / "a.jpg"));
  });
}

TEST_F(MountsTest, PersonalFoldersAreLookedAtToo) {
  tree_.AddUser("alice");
  InNamespace([&] {
    const fs::path nas = tree_.personal("alice") / "nas";
    fs::create_directories(nas);
    Mount(nas, "//nas/share");
    EXPECT_TRUE(IsForeign(nas / "a.jpg"));
    EXPECT_FALSE(IsForeign(tree_.personal("alice") / "a.jpg"));
  });
}

// One of a user's that nobody serves either, whatever he calls it.
TEST_F(MountsTest, AMountThatAUserServesIsNotLookedAtByRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root is not to look at it";
  const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) GTEST_SKIP() << "no /dev/fuse";
  InNamespace([&] {
    const fs::path stick = Folder("stick");
    const std::string options =
        "fd=" + std::to_string(device) + ",rootmode=40000,user_id=20002,group_id=20002,allow_other";
    ASSERT_EQ(mount("blob", stick.c_str(), "fuse.blob", 0, options.c_str()), 0);
    alarm(60);
    EXPECT_TRUE(IsForeign(stick / "a.jpg"));
    EXPECT_TRUE(IsForeign(stick));
    alarm(0);
  });
  close(device);
}

// Nobody serves this mount: whoever looks at a file on it waits for ever.
TEST_F(MountsTest, AMountWhoseServerIsGoneIsNotLookedAt) {
  const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) GTEST_SKIP() << "no /dev/fuse";
  InNamespace([&] {
    const fs::path nas = Folder("nas");
    const std::string options = "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
    ASSERT_EQ(mount("nas:/export", nas.c_str(), "fuse", 0, options.c_str()), 0);
    alarm(60);
    EXPECT_TRUE(IsForeign(nas / "a.jpg"));
    EXPECT_TRUE(IsForeign(nas));
    alarm(0);
  });
  close(device);
}

TEST_F(MountsTest, WhereALinkLeadsIsToldWithoutGoingThere) {
  InNamespace([&] {
    const fs::path nas = Folder("nas");
    const fs::path outside = tree_.root() / "outside";
    const fs::path local = Folder("local");
    fs::create_directories(outside / "deep");
    WriteFile(local / "a.jpg", "");
    fs::create_directory_symlink("outside/deep", tree_.root() / "way");
    const auto link = [&](const char* name, const fs::path& target) {
      fs::create_symlink(target, local / name);
      return local / name;
    };
    const fs::path inside = link("inside.jpg", "../nas/./x/../a.jpg");
    const fs::path second = link("second.jpg", local / "inside.jpg");
    const fs::path away = link("away.jpg", tree_.root() / "way/a.jpg");
    const fs::path back = link("back.jpg", "../nas/../local/a.jpg");
    const fs::path above = link("above.jpg", tree_.root() / "way/../../etc/a.jpg");
    const fs::path round = link("round.jpg", "round.jpg");
    Mount(nas, "nas:/export");
    Mount(outside / "deep", "nas:/export");
    // Who only passes asks as well.
    for (const fs::path& path : {inside, second, away, back, above}) EXPECT_TRUE(IsForeign(path)) << path;
    for (const fs::path& path : {local / "a.jpg", round, local / "gone.jpg"})
      EXPECT_FALSE(IsForeign(path)) << path;
  });
}

// The way to the folder leads over a server's.
TEST_F(MountsTest, ALocalFolderBelowARemoteOneIsNotForeign) {
  InNamespace([&] {
    const fs::path nas = tree_.root() / "nas";
    fs::create_directories(nas);
    Mount(nas, "nas:/export");
    const std::string library = nas / "library";
    fs::create_directories(library);
    Mount(library, "none");
    WriteFile(library + "/trip/a.jpg", "");
    fs::create_symlink(nas / "b.jpg", library + "/away.jpg");
    fs::create_symlink(library + "/trip/a.jpg", library + "/own.jpg");
    const auto leads_away = [&](const char* name) {
      return KAVOIndexLeadsToForeignMount(library.c_str(), (library + name).c_str());
    };
    EXPECT_FALSE(leads_away("/trip/a.jpg"));
    EXPECT_FALSE(leads_away("/own.jpg"));
    EXPECT_TRUE(leads_away("/away.jpg"));
  });
}

// Of which no list of libraries has to tell.
TEST_F(MountsTest, AnyFolderCanBeAskedAbout) {
  InNamespace([&] {
    const fs::path folder = tree_.root() / "any";
    fs::create_directories(folder / "nas");
    Mount(folder / "nas", "nas:/export");
    EXPECT_TRUE(KAVOIndexLeadsToForeignMount(folder.c_str(), (folder / "nas").c_str()));
    EXPECT_FALSE(KAVOIndexLeadsToForeignMount(folder.c_str(), folder.c_str()));
    EXPECT_FALSE(KAVOIndexLeadsToForeignMount((folder / "nas").c_str(), (folder / "nas/a").c_str()));
    EXPECT_FALSE(KAVOIndexLeadsToForeignMount(nullptr, folder.c_str()));
    EXPECT_FALSE(KAVOIndexLeadsToForeignMount(folder.c_str(), nullptr));
  });
}

TEST_F(MountsTest, PathsOutsideThePhotoFoldersAreNobodysBusiness) {
  EXPECT_FALSE(IsForeign("/proc"));
  EXPECT_FALSE(IndexIsPathRemoteOrImageMount(nullptr));
  EXPECT_FALSE(IsForeign(""));
}

}  // namespace
