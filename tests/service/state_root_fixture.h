#ifndef TESTS_SERVICE_STATE_ROOT_FIXTURE_H_
#define TESTS_SERVICE_STATE_ROOT_FIXTURE_H_

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "library/state_root.h"
#include "support/temp_dir.h"

// The parts of an installation that the state root is made from, found as an installed program finds them.
class StateRootTest : public testing::Test {
 protected:
  std::filesystem::path root_path() const { return dir_.path() / "state"; }
  std::filesystem::path Photos(const std::string& name) const {
    const std::filesystem::path folder = dir_.path() / name;
    std::filesystem::create_directories(folder);
    return folder;
  }

  StateRoot Prepared() const {
    auto root = StateRoot::Locate(root_path());
    EXPECT_TRUE(root);
    const auto prepared = root->Prepare();
    EXPECT_TRUE(prepared) << prepared.failure().message;
    return *root;
  }

  const std::filesystem::path& dir_path() const { return dir_.path(); }
  std::string Content(const std::string& place) const { return ReadFile(root_path().string() + place); }

  static mode_t ModeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  TempDir dir_;
};

#endif  // TESTS_SERVICE_STATE_ROOT_FIXTURE_H_
