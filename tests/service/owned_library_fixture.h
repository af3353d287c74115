#ifndef TESTS_SERVICE_OWNED_LIBRARY_FIXTURE_H_
#define TESTS_SERVICE_OWNED_LIBRARY_FIXTURE_H_

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/media_maker.h"
#include "support/service_test.h"

inline constexpr uid_t kOwner = 20001;
inline constexpr uid_t kStranger = 20002;

// The folder is the owner's, the stranger's is closed to everybody else.
class OwnedLibraryTest : public ServiceTest {
 protected:
  static constexpr const char* kRefusedLink = "link to a file that its owner may not read";

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root has libraries of several people";
    std::filesystem::create_directories(folder());
    chmod(scratch().c_str(), 0755);
    Own(folder(), kOwner);
    MakeJpeg(secret(), 8, 6, SecretTags());
    Own(secret().parent_path(), kStranger);
    Own(secret(), kStranger);
    chmod(secret().parent_path().c_str(), 0700);
  }

  static Tags SecretTags() { return {{"Iptc.Application2.Keywords", "secret"}}; }
  static void Own(const std::filesystem::path& path, uid_t owner) {
    ASSERT_EQ(lchown(path.c_str(), owner, owner), 0) << path;
  }
  std::filesystem::path secret() const { return scratch() / "private/secret.jpg"; }
  // A link of the maker's in the library.
  void Link(const std::string& name, const std::filesystem::path& target, uid_t maker) const {
    std::filesystem::create_symlink(target, File(name));
    Own(File(name), maker);
  }
  void Photo(const std::string& name, const Tags& tags = {}) const {
    MakeJpeg(File(name), 8, 6, tags);
    for (std::filesystem::path path = File(name); path != folder(); path = path.parent_path())
      Own(path, kOwner);
  }
  std::filesystem::path Database() const { return File(".KAVOHGADB"); }
  static uid_t OwnerOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_uid;
  }
};

#endif  // TESTS_SERVICE_OWNED_LIBRARY_FIXTURE_H_
