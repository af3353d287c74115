#include "common/event_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "support/scripted_workers.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

struct Handler : EventHandler {
  explicit Handler(EventLoop& on) : loop(on) { loop.Add(*this); }
  ~Handler() override { loop.Remove(*this); }
  Awaited Awaits() const override { return awaited; }
  void Serve() override { serve(); }
  void Expire() override { expire(); }

  EventLoop& loop;
  Awaited awaited;
  std::function<void()> serve = [] {};
  std::function<void()> expire = [] {};
};

class EventLoopTest : public testing::Test {
 protected:
  EventLoopTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    reading_ = FileDescriptor(ends[0]);
    writing_ = FileDescriptor(ends[1]);
  }

  void Write() const { EXPECT_EQ(write(writing_.get(), "x", 1), 1); }
  void Note(Handler& handler, const std::string& name) {
    handler.serve = [this, name] { events_.push_back(name + " served"); };
    handler.expire = [this, name] { events_.push_back(name + " expired"); };
  }
  void AwaitPipe(Handler& handler, const std::string& name) {
    handler.awaited.descriptor = reading_.get();
    Note(handler, name);
  }

  SteppedLoop loop_;
  FileDescriptor reading_;
  FileDescriptor writing_;
  std::vector<std::string> events_;
};

TEST_F(EventLoopTest, WhatIsReadyIsServedInTheOrderOfAdding) {
  Handler one(loop_);
  Handler other(loop_);
  AwaitPipe(one, "one");
  AwaitPipe(other, "other");
  Write();
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("one served", "other served"));
}

// The runs of a long turn come and go by the thousand, and poll takes no more than a process may have open.
TEST_F(EventLoopTest, WhatIsRemovedWithinATurnIsNotPolledInTheTurnsWithinIt) {
  constexpr int kMany = 200;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  EventLoop loop;
  Handler outer(loop);
  Handler inner(loop);
  outer.awaited.descriptor = reading_.get();
  inner.awaited.descriptor = reading_.get();
  Note(inner, "inner");
  outer.serve = [&] {
    outer.awaited.descriptor = -1;
    for (int number = 0; number < kMany; ++number) Handler gone(loop);
    const rlimit few{kMany / 2, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    loop.Poll();
    setrlimit(RLIMIT_NOFILE, &before);
    events_.push_back("outer");
  };
  Write();
  loop.Turn();
  ASSERT_GE(events_.size(), 2U);
  EXPECT_EQ(events_[0], "inner served");
  EXPECT_EQ(events_[1], "outer");
}

TEST_F(EventLoopTest, TheEarliestMomentEndsTheWaitAndTheOthersWait) {
  Handler late(loop_);
  Handler early(loop_);
  Note(late, "late");
  Note(early, "early");
  late.awaited.moment = loop_.Now() + milliseconds(30);
  early.awaited.moment = loop_.Now() + milliseconds(20);
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("early expired"));
  EXPECT_EQ(loop_.Elapsed(), milliseconds(20));
}

TEST_F(EventLoopTest, AMomentThatHasPassedComesAtOnceAndThoughTheDescriptorIsReady) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  handler.awaited.moment = loop_.Now();
  Write();
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("it served", "it expired"));
}

TEST_F(EventLoopTest, ServingMayPutTheMomentOff) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  handler.awaited.moment = loop_.Now();
  handler.serve = [&] { handler.awaited.moment = loop_.Now() + milliseconds(1); };
  Write();
  loop_.Turn();
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(EventLoopTest, WhoIsRemovedByAnotherIsNotServedAnyMore) {
  Handler one(loop_);
  Handler other(loop_);
  AwaitPipe(one, "one");
  AwaitPipe(other, "other");
  one.serve = [&] { loop_.Remove(other); };
  Write();
  loop_.Turn();
  loop_.Turn();
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(EventLoopTest, WhoRemovesItselfIsServedOnceAndDoesNotExpire) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  handler.awaited.moment = loop_.Now();
  handler.serve = [&] {
    events_.emplace_back("served");
    loop_.Remove(handler);
  };
  Handler timer(loop_);
  timer.awaited.moment = loop_.Now();
  Write();
  loop_.Turn();
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("served"));
}

TEST_F(EventLoopTest, WhoIsAddedMeanwhileIsServedFromTheNextTurnOn) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  std::unique_ptr<Handler> added;
  handler.serve = [&] {
    if (added) return;
    added = std::make_unique<Handler>(loop_);
    AwaitPipe(*added, "added");
  };
  Write();
  loop_.Turn();
  EXPECT_THAT(events_, IsEmpty());
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("added served"));
}

TEST_F(EventLoopTest, ATurnWithinATurnServesToo) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  int depth = 0;
  handler.serve = [&] {
    events_.push_back("depth " + std::to_string(depth));
    if (depth++ == 0) loop_.Turn();
  };
  Write();
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("depth 0", "depth 1"));
}

TEST_F(EventLoopTest, RoomToWriteIsAnEventForThoseWhoAskForIt) {
  Handler silent(loop_);
  Handler writer(loop_);
  Note(silent, "silent");
  Note(writer, "writer");
  silent.awaited = {writing_.get(), false, loop_.Now() + milliseconds(1)};
  writer.awaited = {writing_.get(), true, std::nullopt};
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("writer served"));
}

TEST_F(EventLoopTest, TheOtherEndsCloseIsAnEvent) {
  Handler handler(loop_);
  AwaitPipe(handler, "it");
  writing_ = FileDescriptor();
  loop_.Turn();
  EXPECT_THAT(events_, ElementsAre("it served"));
}

// With the real clock.
TEST(RealEventLoop, WaitsUntilTheMomentAndNotForTheDescriptorThatIsNone) {
  EventLoop loop;
  Handler handler(loop);
  bool expired = false;
  handler.expire = [&] { expired = true; };
  const Moment begin = loop.Now();
  handler.awaited.moment = begin + milliseconds(30);
  loop.Turn();
  EXPECT_TRUE(expired);
  EXPECT_GE(loop.Now() - begin, milliseconds(30));
}

}  // namespace
