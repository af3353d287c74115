#include "photo_index/record_json.h"

#include <cstdlib>
#include <new>

#include "support/media_record.h"
#include "support/syslog_capture.h"

#include <gtest/gtest.h>

namespace {

int g_allocations_left = -1;  // the one after that many fails; below 0 none does

}  // namespace

// NOLINTBEGIN: replacements of the whole program. Where the compiler inlines one of them alone it sees a
// malloc freed by the wrong function.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  void* memory = g_allocations_left-- != 0 ? std::malloc(size) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
// NOLINTEND

namespace {

// Wherever memory runs out, the call is made with the whole record or not at all.
TEST(RecordJson, IsWholeOrNotHandedOn) {
  constexpr int kMoreThanARecordTakes = 1000;
  int broken = 0;
  int whole = 0;
  for (int limit = 0; limit < kMoreThanARecordTakes && whole == 0; ++limit) {
    KAVO_MEDIA_INFO record = RecordOf("/photo/a.jpg");
    g_allocations_left = limit;
    const int result = CallWithJson(&record, [&](Json::Value* info) {
      g_allocations_left = -1;
      ++whole;
      EXPECT_EQ((*info)["szPath"], "/photo/a.jpg");
      EXPECT_TRUE(info->isMember("szFsUUID"));
      return 5;
    });
    g_allocations_left = -1;
    EXPECT_EQ(result, whole == 0 ? -1 : 5) << limit;
    broken += whole == 0 ? 1 : 0;
  }
  EXPECT_EQ(whole, 1);
  EXPECT_GT(broken, 1);
}

}  // namespace
