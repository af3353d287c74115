// A library of somebody who has an account, indexed by root. The machine's lists of users and groups are left
// alone: this process and its children see others in their place.
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "service/owned_library_fixture.h"
#include "support/media_maker.h"
#include "support/private_namespace.h"

namespace fs = std::filesystem;

namespace {

const std::string& WhyNoMounts() {
  static const std::string why = EnterPrivateNamespace({});
  return why;
}

class OwnerAccountTest : public OwnedLibraryTest {
 protected:
  void SetUp() override {
    if (!WhyNoMounts().empty()) GTEST_SKIP() << "no mounts here: " << WhyNoMounts();
    OwnedLibraryTest::SetUp();
    if (IsSkipped()) return;
    Add("/etc/passwd", "annie:x:20001:20011:Annie:/home/annie:/bin/sh\n");
    Add("/etc/group", "own:x:20011:\nfamily:x:20012:bob,annie\nothers:x:20013:bob\nsecond:x:20014:annie\n");
  }
  void TearDown() override {
    for (const std::string& list : replaced_) umount2(list.c_str(), MNT_DETACH);
    OwnedLibraryTest::TearDown();
  }

  // LINES, which the list FILE has as well from now on.
  void Add(const fs::path& file, const std::string& lines) {
    const fs::path copy = scratch() / file.filename();
    WriteFile(copy, ReadFile(file) + lines);
    fs::permissions(copy, fs::perms(0644));
    ASSERT_EQ(mount(copy.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0) << std::strerror(errno);
    replaced_.push_back(file);
  }
  // What SCRIPT, run by a worker, writes.
  std::string ToldByWorker(const std::string& script) {
    const fs::path told = scratch() / "told/text";
    fs::create_directory(told.parent_path());
    Own(told.parent_path(), kOwner);
    Index();
    UsePreviewTool("{ " + script + "; } >" + told.string());
    Photo("a.jpg");
    EXPECT_EQ(Index()["added"].asInt(), 1);
    return ReadFile(told);
  }

 private:
  std::vector<std::string> replaced_;
};

TEST_F(OwnerAccountTest, WorkerIsInTheGroupsOfTheAccountAndInNoOther) {
  EXPECT_EQ(
      ToldByWorker("id -u; id -g; sed -n 's/^Groups:[[:space:]]*//p' /proc/self/status | sed 's/ *$//'"),
      "20001\n20011\n20011 20012 20014\n");
}

TEST_F(OwnerAccountTest, ProgramsThatTheWorkerStartsAreTheAccounts) {
  EXPECT_EQ(ToldByWorker("echo $HOME $USER $LOGNAME"), "/home/annie annie annie\n");
}

}  // namespace
