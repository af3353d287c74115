#include "worker/log_capture.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kSetting = "Can't get key valude. key=albumdefpublic, user:a";
constexpr const char* kStatement = "Failed to exec [INSERT INTO t] (constraint failed)";

TEST(ReasonOf, TheCauseAndWhatItLedTo) {
  EXPECT_EQ(ReasonOf({"Invalid thing : x y", "Failed to save photo info."}),
            "Invalid thing : x y; Failed to save photo info.");
  EXPECT_EQ(ReasonOf({"Failed."}), "Failed.");
  EXPECT_EQ(ReasonOf({}), "the plug-in gave no reason");
}

TEST(ReasonOf, ASettingThatHasItsDefaultIsNoReason) {
  EXPECT_EQ(ReasonOf({kSetting, "Failed."}), "Failed.");
  EXPECT_EQ(ReasonOf({kSetting}), "the plug-in gave no reason");
}

TEST(ReasonOf, AFailedStatementIsTheCauseWhateverWasToldAroundIt) {
  EXPECT_EQ(ReasonOf({"No position.", kStatement, "Failed to add.", "Failed to save photo info."}),
            std::string(kStatement) + "; Failed to save photo info.");
}

}  // namespace
