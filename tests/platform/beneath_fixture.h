// A folder below which things are opened, beside one that is none of its business.
#ifndef TESTS_PLATFORM_BENEATH_FIXTURE_H_
#define TESTS_PLATFORM_BENEATH_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "platform/substitute_loan.h"
#include "support/temp_dir.h"

class BeneathTest : public testing::Test {
 protected:
  BeneathTest() {
    std::filesystem::create_directories(root());
    WriteFile(outside() / "a.jpg", "foreign");
    setenv("LUMIVAULT_ROOT", (dir_.path() / "appliance").c_str(), 1);
  }
  ~BeneathTest() override {
    KAVODBLendEnd();
    unsetenv("LUMIVAULT_ROOT");
  }

  std::filesystem::path root() const { return dir_.path() / "photo"; }
  std::filesystem::path outside() const { return dir_.path() / "outside"; }
  std::string Path(const std::string& relative) const { return (root() / relative).string(); }

  int Open(const std::string& relative) const {
    return KAVOBeneathOpen(root().c_str(), Path(relative).c_str());
  }
  int Exist(const std::string& relative) const {
    return KAVOBeneathExist(root().c_str(), Path(relative).c_str());
  }
  int Remove(const std::string& relative) const {
    return KAVOBeneathRemove(root().c_str(), Path(relative).c_str());
  }
  int Mode(const std::string& relative, mode_t mode) const {
    return KAVOBeneathMode(root().c_str(), Path(relative).c_str(), mode);
  }

  void BeginBatch() {
    LendSubstitute(loan_);
    ASSERT_EQ(KAVODBBatchBegin(), 0);
  }
  static std::vector<PendingRemoval> TakePendingRemovals() { return Session::OfThread().pending()->Take(); }

  TempDir dir_;

 private:
  LoanScript loan_;
};

inline mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

inline std::string ContentOf(int descriptor) {
  const FileDescriptor owned(descriptor);
  char text[64] = {};
  return read(owned.get(), text, sizeof(text) - 1) >= 0 ? text : "unreadable";
}

#endif  // TESTS_PLATFORM_BENEATH_FIXTURE_H_
