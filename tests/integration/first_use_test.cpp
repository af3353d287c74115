// The first request of a personal folder, which makes its database.
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/appliance_tree.h"
#include "support/child_processes.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kUser = "alice";

class FirstUseTest : public testing::Test {
 protected:
  FirstUseTest() { tree_.AddUser(kUser); }

  fs::path photos() const { return tree_.personal(kUser); }
  fs::path database() const { return photos() / ".KAVOHGADB"; }
  fs::path Beside(const std::string& name) const { return photos().parent_path() / name; }

 private:
  ApplianceTree tree_;
};

int AddPhoto(const fs::path& file) {
  KAVO_MEDIA_INFO record = RecordOf(file);
  return IndexAdd(&record, kIndexed);
}

TEST_F(FirstUseTest, ByManyProcessesAtOnceLosesNoRequest) {
  constexpr int kRounds = 6;
  constexpr int kProcesses = 8;
  for (int i = 0; i < kProcesses; ++i) MakeJpeg(photos() / (std::to_string(i) + ".jpg"), 8, 6);
  for (int round = 0; round < kRounds; ++round) {
    fs::remove(database());
    const MeetingPoint begin(kProcesses);
    ASSERT_TRUE(RunChildren(kProcesses,
                            [&](int number) {
                              begin.Wait();
                              return AddPhoto(photos() / (std::to_string(number) + ".jpg")) == 0 ? 0 : 1;
                            }))
        << "round " << round;
    ASSERT_EQ(HGAStatusCheck(photos().c_str()), 0);
    for (int i = 0; i < kProcesses; ++i)
      ASSERT_EQ(PhotoInfoDBVersionUpdate((photos() / (std::to_string(i) + ".jpg")).c_str(), 1), 0);
    int found = 0;
    for (int i = 0; i < kProcesses; ++i)
      found += PhotoInfoDBVersionGet((photos() / (std::to_string(i) + ".jpg")).c_str());
    ASSERT_EQ(found, kProcesses) << "round " << round;
  }
}

// The folder's owner has links come and go in the database's place, while root makes it there.
TEST_F(FirstUseTest, WhatALinkLeadsToIsNeitherMadeNorTouched) {
  constexpr int kTries = 60;
  std::ofstream(Beside("foreign")) << "foreign";
  MakeJpeg(photos() / "a.jpg", 8, 6);  // which starts a program: before there are threads
  std::atomic<bool> done{false};
  std::thread owner([&] {
    while (!done) {
      for (const fs::path& target : {Beside("nowhere"), Beside("foreign")}) {
        static_cast<void>(symlink(target.c_str(), database().c_str()));
        unlink(database().c_str());
      }
    }
  });
  const auto mode = fs::status(Beside("foreign")).permissions();
  // The owner may be stopped for many tries with the link in its place.
  int checked = 0;
  for (int i = 0; i < kTries || checked == 0; ++i) {
    checked += HGAStatusCheck(photos().c_str()) == 0 ? 1 : 0;
    static_cast<void>(AddPhoto(photos() / "a.jpg"));
  }
  done = true;
  owner.join();
  EXPECT_GT(checked, 0);
  EXPECT_FALSE(fs::exists(Beside("nowhere")));
  EXPECT_EQ(ReadFile(Beside("foreign")), "foreign");
  EXPECT_EQ(fs::status(Beside("foreign")).permissions(), mode);
}

}  // namespace
