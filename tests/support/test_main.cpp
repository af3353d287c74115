#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/syslog_capture.h"

namespace {

// Every test starts with an empty log.
class FreshLog : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*info*/) override { SyslogCapture::Clear(); }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new FreshLog);
  return RUN_ALL_TESTS();
}
