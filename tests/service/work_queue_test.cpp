#include "run/work_queue.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

WorkItem Folder(const std::string& path) {
  return {ItemKind::kFolder, path};
}
WorkItem Photo(const std::string& path) {
  return {ItemKind::kPhoto, path};
}

class WorkQueueTest : public testing::Test {
 protected:
  // A queue over these items in this order.
  WorkQueue Of(std::vector<WorkItem> items) {
    return WorkQueue([items = std::move(items), next = std::size_t{0}]() mutable -> std::optional<WorkItem> {
      if (next == items.size()) return std::nullopt;
      return items[next++];
    });
  }

  static std::vector<std::string> Paths(const std::vector<WorkQueue::Entry>& batch) {
    std::vector<std::string> paths;
    for (const auto& entry : batch) paths.push_back(entry.item.path);
    return paths;
  }

  static std::vector<WorkItem> Photos(const std::string& folder, int count) {
    std::vector<WorkItem> items;
    for (int i = 0; i < count; ++i) items.push_back(Photo(folder + "/" + std::to_string(i)));
    return items;
  }
};

using Names = std::vector<std::string>;

TEST_F(WorkQueueTest, AFolderAndWhatItHoldsGoTogetherInOneBatch) {
  std::vector<WorkItem> items{Folder("/p")};
  for (const WorkItem& photo : Photos("/p", 200)) items.push_back(photo);
  WorkQueue queue = Of(items);
  const auto batch = queue.Take(1);
  ASSERT_EQ(batch.size(), kBatchSize);
  EXPECT_EQ(batch.front().item.path, "/p");
}

TEST_F(WorkQueueTest, FilesOfAFolderThatIsUnderWayWaitForIt) {
  WorkQueue queue = Of({Folder("/p"), Photo("/p/1"), Photo("/p/2"), Photo("/p/3")});
  EXPECT_EQ(Paths(queue.Take(2)), Names({"/p"}));
  EXPECT_TRUE(queue.Take(2).empty());
  EXPECT_TRUE(queue.HasWaiting());
  queue.Done(Folder("/p"));
  EXPECT_EQ(Paths(queue.Take(2)), Names({"/p/1"}));
}

// As the note of what is mounted below it, which goes first.
TEST_F(WorkQueueTest, WhatIsDoneForTheWholeLibraryMakesNoAlbumOfItsFolder) {
  for (const ItemAction action :
       {ItemAction::kNoteMounts, ItemAction::kMark, ItemAction::kUnmark, ItemAction::kSweep}) {
    WorkItem note = Folder("/p");
    note.action = action;
    WorkQueue queue = Of({note, Folder("/p"), Folder("/p/a"), Folder("/p/b")});
    ASSERT_EQ(Paths(queue.Take(4)), Names({"/p"}));
    ASSERT_EQ(Paths(queue.Take(4)), Names({"/p"}));
    queue.Done(note);
    EXPECT_TRUE(queue.Take(4).empty());
    queue.Done(Folder("/p"));
    EXPECT_EQ(Paths(queue.Take(4)), Names({"/p/a"}));
  }
}

TEST_F(WorkQueueTest, WhatLiesInOtherFoldersOvertakes) {
  WorkQueue queue = Of({Folder("/p/a"), Photo("/p/a/1"), Folder("/p/a/b"), Folder("/p/c"), Photo("/p/c/1")});
  EXPECT_EQ(Paths(queue.Take(4)), Names({"/p/a"}));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/c", "/p/c/1"}));
  EXPECT_TRUE(queue.Take(1).empty());
  queue.Done(Folder("/p/a"));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/a/1"}));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/a/b"}));
}

TEST_F(WorkQueueTest, TheRestIsSharedAmongTheWorkers) {
  WorkQueue queue = Of(Photos("/p", 40));
  EXPECT_EQ(queue.Take(2).size(), 10U);
  EXPECT_EQ(queue.Take(2).size(), 7U);
  EXPECT_EQ(queue.Take(1).size(), 11U);
}

TEST_F(WorkQueueTest, WhatComesBackIsNextInItsOrder) {
  WorkQueue queue = Of(Photos("/p", 8));
  auto batch = queue.Take(2);
  ASSERT_EQ(Paths(batch), Names({"/p/0", "/p/1"}));
  queue.Return(std::move(batch));
  EXPECT_EQ(Paths(queue.Take(2)), Names({"/p/0", "/p/1"}));
}

TEST_F(WorkQueueTest, ASuspectGoesAlone) {
  WorkQueue queue = Of(Photos("/p", 6));
  auto batch = queue.Take(1);
  ASSERT_EQ(batch.size(), 3U);
  batch[1].is_suspect = true;
  queue.Return(std::move(batch));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/0", "/p/2", "/p/3"}));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/1"}));
}

TEST_F(WorkQueueTest, ItIsFinishedWhenEverythingGivenOutIsDone) {
  WorkQueue queue = Of({Photo("/p/1")});
  EXPECT_FALSE(queue.Finished());
  const auto batch = queue.Take(1);
  EXPECT_FALSE(queue.HasWaiting());
  EXPECT_FALSE(queue.Finished());
  queue.Done(batch.front().item);
  EXPECT_TRUE(queue.Finished());
}

TEST_F(WorkQueueTest, NothingWaitsForAFolderOfALaterStage) {
  WorkItem later = Folder("/p");
  later.stage = 1;
  WorkQueue queue = Of({Folder("/p/new"), later});
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/new"}));
  queue.Done(Folder("/p/new"));
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p"}));
}

TEST_F(WorkQueueTest, TheGateIsAskedWhenTheEarlierStagesAreDone) {
  bool first_done = false;
  WorkItem second = Photo("/p/2");
  second.stage = 1;
  std::vector<WorkItem> items{Photo("/p/1"), second};
  std::size_t next = 0;
  WorkQueue queue(
      [&]() -> std::optional<WorkItem> {
        if (next == items.size()) return std::nullopt;
        return items[next++];
      },
      [&](const WorkItem& item) { return item.path == "/p/1" || !first_done; });
  EXPECT_EQ(Paths(queue.Take(1)), Names({"/p/1"}));
  first_done = true;
  queue.Done(items.front());
  EXPECT_TRUE(queue.Take(1).empty());
  EXPECT_TRUE(queue.Finished()) << "what is refused is dropped";
}

TEST_F(WorkQueueTest, TheWalkIsNotReadFarAhead) {
  int asked = 0;
  WorkQueue queue([&]() -> std::optional<WorkItem> { return Photo("/p/" + std::to_string(asked++)); });
  EXPECT_TRUE(queue.HasWaiting());
  EXPECT_LE(asked, 1024);
}

}  // namespace
