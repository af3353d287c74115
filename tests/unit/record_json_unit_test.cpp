#include "photo_index/record_json.h"

#include <gtest/gtest.h>

#include "support/failing_memory.h"
#include "support/media_record.h"
#include "support/syslog_capture.h"

namespace {

int g_allocations_left = 0;  // the one after that many fails

// Wherever memory runs out, the call is made with the whole record or not at all.
TEST(RecordJson, IsWholeOrNotHandedOn) {
  constexpr int kMoreThanARecordTakes = 1000;
  int broken = 0;
  int whole = 0;
  for (int limit = 0; limit < kMoreThanARecordTakes && whole == 0; ++limit) {
    KAVO_MEDIA_INFO record = RecordOf("/photo/a.jpg");
    g_allocations_left = limit;
    memory_is_short = [](std::size_t) { return g_allocations_left-- == 0; };
    const int result = CallWithJson(&record, [&](Json::Value* info) {
      memory_is_short = nullptr;
      ++whole;
      EXPECT_EQ((*info)["szPath"], "/photo/a.jpg");
      EXPECT_TRUE(info->isMember("szFsUUID"));
      return 5;
    });
    memory_is_short = nullptr;
    EXPECT_EQ(result, whole == 0 ? -1 : 5) << limit;
    broken += whole == 0 ? 1 : 0;
  }
  EXPECT_EQ(whole, 1);
  EXPECT_GT(broken, 1);
}

}  // namespace
