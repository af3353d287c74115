// When rows may be deleted because files are not there.
#include "changes/loss_brake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "changes/recent_losses.h"
#include "support/temp_dir.h"

namespace {

constexpr std::size_t kRecorded = 500;

class LossBrakeTest : public testing::Test {
 protected:
  static LossQuestion Gone(std::size_t files) {
    LossQuestion question;
    for (std::size_t i = 0; i < files; ++i) question.gone.push_back(std::to_string(i));
    question.recorded = kRecorded;
    return question;
  }
  std::string Judge(const LossQuestion& question) {
    const LossVerdict verdict = AskLossBrake(question, catalogue_);
    EXPECT_EQ(verdict.holds, !verdict.reason.empty());
    return verdict.reason;
  }
  // The remembered scan was SECONDS earlier than it was.
  void Age(long seconds, const char* fact = "loss") {
    const std::string value = catalogue_.facts().Find(fact).value_or("");
    const std::size_t blank = value.find(' ');
    ASSERT_NE(blank, std::string::npos);
    const long time = std::atol(value.c_str() + blank) - seconds;
    catalogue_.facts().Put(fact, value.substr(0, blank + 1) + std::to_string(time));
  }

  TempDir dir_;
  Catalogue catalogue_ = std::move(*Catalogue::Open(dir_ / "catalogue.db"));
};

constexpr const char* kMany = "101 of 500 files are gone";
constexpr long kHour = 3600;

TEST_F(LossBrakeTest, AHundredMayGo) {
  EXPECT_EQ(Judge(Gone(100)), "");
  EXPECT_EQ(Judge(Gone(101)), kMany);
}

TEST_F(LossBrakeTest, ATenthMayGo) {
  LossQuestion question = Gone(150);
  question.recorded = 1500;
  EXPECT_EQ(Judge(question), "");
  question.recorded = 1499;
  EXPECT_EQ(Judge(question), "150 of 1499 files are gone");
}

TEST_F(LossBrakeTest, WhatIsOutOfReachIsNotGoneHoweverFewItIs) {
  LossQuestion question = Gone(1);
  question.root_empty = true;
  EXPECT_EQ(Judge(question), "the folder is empty");
  question.root_empty = false;
  question.root_changed = true;
  EXPECT_EQ(Judge(question), "the folder is not the one that was indexed before");
}

TEST_F(LossBrakeTest, AlbumsAloneAreOutOfReachToo) {
  LossQuestion question = Gone(0);
  question.root_empty = true;
  EXPECT_EQ(Judge(question), "");
  question.gone_folders = 1;
  EXPECT_EQ(Judge(question), "the folder is empty");
}

TEST_F(LossBrakeTest, SomebodyMayAcceptAnything) {
  LossQuestion question = Gone(400);
  question.root_empty = true;
  question.accepted = true;
  EXPECT_EQ(Judge(question), "");
}

TEST_F(LossBrakeTest, TheSameAnHourLaterIsBelieved) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour - 10);
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(10);
  EXPECT_EQ(Judge(Gone(101)), "");
}

TEST_F(LossBrakeTest, TheSameInAnotherOrderIsTheSame) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour);
  LossQuestion question = Gone(101);
  std::swap(question.gone.front(), question.gone.back());
  EXPECT_EQ(Judge(question), "");
}

TEST_F(LossBrakeTest, AnotherLossIsNotTheSame) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour);
  LossQuestion question = Gone(101);
  question.gone.back() = "another";
  EXPECT_EQ(Judge(question), kMany);
}

TEST_F(LossBrakeTest, TheSameLettersInOtherNamesAreNotTheSame) {
  LossQuestion question = Gone(101);
  question.gone[0] = "aa";
  question.gone[1] = "b";
  EXPECT_EQ(Judge(question), kMany);
  Age(kHour);
  question.gone[0] = "a";
  question.gone[1] = "ab";
  EXPECT_EQ(Judge(question), kMany);
}

TEST_F(LossBrakeTest, WhatWentWithinTheHourBeforeCounts) {
  EXPECT_EQ(Judge(Gone(50)), "");
  RecentLosses(catalogue_).Add(50);
  EXPECT_EQ(Judge(Gone(50)), "");
  RecentLosses(catalogue_).Add(1);
  LossQuestion part = Gone(50);
  part.is_part = true;
  EXPECT_EQ(Judge(part), "50 of 500 files are gone, and 51 went within the hour before");
  EXPECT_EQ(Judge(Gone(50)), "50 of 500 files are gone, and 51 went within the hour before");
  EXPECT_EQ(Judge(Gone(0)), "") << "nothing is gone now";
}

TEST_F(LossBrakeTest, WhatWentBeforeIsAMatterOfATenthToo) {
  LossQuestion question = Gone(1);
  RecentLosses(catalogue_).Add(149);
  question.recorded = 1350;
  EXPECT_EQ(Judge(question), "1 of 1350 files are gone, and 149 went within the hour before");
  question.recorded = 1351;
  EXPECT_EQ(Judge(question), "");
}

TEST_F(LossBrakeTest, AnAcceptedLossAndOneThatIsFoundAgainAreMeant) {
  EXPECT_FALSE(AskLossBrake(Gone(3), catalogue_).is_meant);
  EXPECT_FALSE(AskLossBrake(Gone(101), catalogue_).is_meant);
  Age(kHour);
  EXPECT_TRUE(AskLossBrake(Gone(101), catalogue_).is_meant);
  LossQuestion accepted = Gone(3);
  accepted.accepted = true;
  EXPECT_TRUE(AskLossBrake(accepted, catalogue_).is_meant);
}

class RecentLossesTest : public LossBrakeTest {
 protected:
  static constexpr const char* kFact = "recent losses";
  std::size_t Count() { return RecentLosses(catalogue_).Count(); }
  // A loss of FILES so many SECONDS ago, the oldest first.
  void Lost(std::size_t files, long seconds) {
    const std::string before = catalogue_.facts().Find(kFact).value_or("");
    catalogue_.facts().Put(
        kFact, before + std::to_string(files) + " " + std::to_string(std::time(nullptr) - seconds) + " ");
  }
};

TEST_F(RecentLossesTest, AddUpOverOneHour) {
  Lost(1, kHour + 5);
  Lost(2, kHour - 5);
  Lost(4, 61);
  RecentLosses(catalogue_).Add(8);
  RecentLosses(catalogue_).Add(16);
  EXPECT_EQ(Count(), 30U);
}

TEST_F(RecentLossesTest, EachEndsAnHourAfterItself) {
  Lost(1, kHour - 5);
  Lost(2, 70);
  RecentLosses(catalogue_).Add(4);
  const std::string fact = catalogue_.facts().Find(kFact).value_or("");
  EXPECT_EQ(std::count(fact.begin(), fact.end(), ' '), 6) << fact;
}

TEST_F(RecentLossesTest, OfAMinuteAreOne) {
  Lost(1, 30);
  RecentLosses(catalogue_).Add(4);
  const std::string fact = catalogue_.facts().Find(kFact).value_or("");
  EXPECT_EQ(std::count(fact.begin(), fact.end(), ' '), 2) << fact;
  EXPECT_EQ(Count(), 5U);
}

TEST_F(RecentLossesTest, OfATimeToComeCountSinceTheClockWasWrong) {
  Lost(7, -kHour);
  EXPECT_EQ(Count(), 7U);
}

TEST_F(RecentLossesTest, WhatWasNotLostIsTakenBackFromTheLast) {
  Lost(5, 100);
  RecentLosses losses(catalogue_);
  losses.Add(10);
  losses.TakeBack(3);
  EXPECT_EQ(Count(), 12U);
  losses.TakeBack(9);
  EXPECT_EQ(Count(), 3U);
  losses.TakeBack(9);
  EXPECT_EQ(Count(), 0U);
}

TEST_F(RecentLossesTest, ThatAreMeantAreForgotten) {
  RecentLosses losses(catalogue_);
  losses.Add(10);
  losses.Forget();
  EXPECT_EQ(losses.Count(), 0U);
  EXPECT_EQ(Count(), 0U);
}

TEST_F(RecentLossesTest, NoNumbersAreNone) {
  catalogue_.facts().Put(kFact, "x 3 ");
  EXPECT_EQ(Count(), 0U);
}

TEST_F(LossBrakeTest, ALossThatCameBackIsForgotten) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour);
  EXPECT_EQ(Judge(Gone(0)), "");
  EXPECT_EQ(Judge(Gone(101)), kMany) << "the same disk may be away twice";
}

TEST_F(LossBrakeTest, AnotherReasonInBetweenIsAnotherScan) {
  for (bool LossQuestion::*reason : {&LossQuestion::root_empty, &LossQuestion::root_changed}) {
    EXPECT_EQ(Judge(Gone(101)), kMany);
    Age(kHour);
    LossQuestion question = Gone(101);
    question.*reason = true;
    EXPECT_NE(Judge(question), kMany);
    EXPECT_EQ(Judge(Gone(101)), kMany) << "no two in a row";
  }
}

TEST_F(LossBrakeTest, ALossThatWasAcceptedIsForgotten) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour);
  LossQuestion question = Gone(101);
  question.accepted = true;
  EXPECT_EQ(Judge(question), "");
  EXPECT_EQ(Judge(Gone(101)), kMany);
}

TEST_F(LossBrakeTest, ATimeToComeIsNotBelieved) {
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(-kHour);
  EXPECT_EQ(Judge(Gone(101)), kMany) << "and remembered anew";
  Age(kHour);
  EXPECT_EQ(Judge(Gone(101)), "");
}

TEST_F(LossBrakeTest, EachKindOfLookHasItsOwnMemory) {
  LossQuestion sweep = Gone(101);
  sweep.fact = "sweep-loss";
  EXPECT_EQ(Judge(sweep), kMany);
  Age(kHour, "sweep-loss");
  EXPECT_EQ(Judge(Gone(0)), "");
  EXPECT_EQ(Judge(sweep), "");
}

TEST_F(LossBrakeTest, APartIsNoScanAndChangesNoMemory) {
  LossQuestion part = Gone(101);
  part.is_part = true;
  EXPECT_EQ(Judge(part), kMany);
  EXPECT_FALSE(catalogue_.facts().Find("loss"));
  EXPECT_EQ(Judge(Gone(101)), kMany);
  Age(kHour);
  EXPECT_EQ(Judge(part), kMany);
  LossQuestion little = Gone(1);
  little.is_part = true;
  EXPECT_EQ(Judge(little), "");
  EXPECT_EQ(Judge(Gone(101)), "");
}

}  // namespace
