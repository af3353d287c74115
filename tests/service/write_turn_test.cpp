#include "work/write_turn.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kAWhile{50};

TEST(WriteTurn, OneHasItAtATime) {
  const FileDescriptor shared = WriteTurn::MakeShared();
  ASSERT_TRUE(shared);
  const WriteTurn mine(shared.get());
  const WriteTurn theirs(shared.get());
  auto held = std::make_unique<WriteTurn::Holder>(mine);
  std::atomic<bool> got_it = false;
  std::thread other([&] {
    const WriteTurn::Holder holder(theirs);
    got_it = true;
  });
  std::this_thread::sleep_for(kAWhile);
  EXPECT_FALSE(got_it);
  held.reset();
  other.join();
  EXPECT_TRUE(got_it);
}

TEST(WriteTurn, OneThatIsKilledGivesItUp) {
  const FileDescriptor shared = WriteTurn::MakeShared();
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    const WriteTurn turn(shared.get());
    const WriteTurn::Holder holder(turn);
    const bool told = write(ready[1], "x", 1) == 1;
    while (told) pause();
    _exit(1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  const WriteTurn mine(shared.get());
  const auto start = std::chrono::steady_clock::now();
  const WriteTurn::Holder holder(mine);
  EXPECT_LT(std::chrono::steady_clock::now() - start, WriteTurn::kPatience);
  close(ready[0]);
  close(ready[1]);
}

// A holder that waits for another program's transaction does not make the others wait for ever, and one that
// went on without its turn takes it from nobody.
TEST(WriteTurn, PatienceEnds) {
  const FileDescriptor shared = WriteTurn::MakeShared();
  const WriteTurn mine(shared.get());
  const WriteTurn::Holder holder(mine);
  for (int round = 0; round < 2; ++round) {
    const auto start = std::chrono::steady_clock::now();
    std::thread other([&] {
      const WriteTurn theirs(shared.get());
      const WriteTurn::Holder late(theirs, kAWhile);
    });
    other.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, kAWhile) << round;
  }
}

TEST(WriteTurn, WithoutOneNobodyWaits) {
  const WriteTurn nothing(-1);
  const auto start = std::chrono::steady_clock::now();
  const WriteTurn::Holder first(nothing);
  const WriteTurn::Holder second(nothing);
  EXPECT_LT(std::chrono::steady_clock::now() - start, WriteTurn::kPatience);
}

}  // namespace
