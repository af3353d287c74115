#include "photo_database/config.h"

#include "base/owned_list.h"
#include "support/both_requests.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ConfigTest : public FakeLibraryTest {
 protected:
  void SetValue(const std::string& key, const std::string& value) {
    Answer({.match = "config_key = '" + key + "'", .rows = {{{"config_value", value}}}});
  }
  static std::vector<std::string> ExcludedFormats() {
    const OwnedList list(PhotoInfoDBExcludeFormatListGet());
    std::vector<std::string> formats;
    for (int i = 0; i < RLIBCSzListCount(list.get()); ++i)
      formats.emplace_back(RLIBCSzListGet(list.get(), i));
    return formats;
  }
};

TEST_F(ConfigTest, ReadsAValue) {
  SetValue("k", "v");
  char out[8] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "v");
  EXPECT_EQ(fake().Count("KAVODBSelectLimit(SELECT * FROM photo_config WHERE config_key = 'k'  , 1, 0)"), 1);
}

TEST_F(ConfigTest, PersonalFolderHasItsOwnValues) {
  UsePersonal();
  SetValue("k", "v");
  char out[8] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "v");
  EXPECT_THAT(Sent("photo_config"), ElementsAre("PRAGMA case_sensitive_like=true; SELECT * FROM photo_config "
                                                "WHERE config_key = 'k'  "));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(0,"), 1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(ConfigTest, ValueThatIsNullIsEmpty) {
  Answer({.match = "photo_config", .rows = {{}}});
  char out[8] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "");
}

TEST_F(ConfigTest, LongValueIsCut) {
  SetValue("k", "0123456789");
  char out[4];
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "012");
}

TEST_F(ConfigTest, MissingKeyLeavesTheBuffer) {
  char out[8] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), -1);
  EXPECT_STREQ(out, "before");
  EXPECT_THAT(Messages(), IsEmpty());
}

using ConfigFailureTest = OnBothRequests<ConfigTest>;

TEST_P(ConfigFailureTest, RowThatCannotBeFetchedLeavesTheBufferAndCounts) {
  Answer({.match = "photo_config", .rows = {{{"config_value", "v"}}}, .fetch_fails = true});
  char out[8] = "before";
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), 0);
  EXPECT_STREQ(out, "before");
}

TEST_P(ConfigFailureTest, FailedStepsAreFailures) {
  char out[8];
  fake().failing_at = {{"KAVODBEscapeStringEX3", 1}, {"KAVODBSelectLimit", 1}};
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), -1);
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_EQ(PhotoInfoDBConfigGet("k", out, sizeof out), -1);
  ASSERT_THAT(Messages(), SizeIs(2));
  EXPECT_EQ(Messages().back(), "photo_database.cpp (#) Error occurred, failed to get records.");
}

TEST_F(ConfigTest, ValueIsAbsentOrText) {
  SetValue("k", "on");
  EXPECT_EQ(ConfigValue("k", 128), "on");
  EXPECT_EQ(ConfigValue("k", 2), "o");
  EXPECT_EQ(ConfigValue("other", 128), std::nullopt);
  EXPECT_TRUE(ConfigIsOn("k"));
  EXPECT_FALSE(ConfigIsOn("other"));
}

TEST_F(ConfigTest, OnlyOnIsOn) {
  SetValue("k", "ON");
  EXPECT_FALSE(ConfigIsOn("k"));
}

TEST_F(ConfigTest, ExcludedFormatsAreSplitAtEverySeparator) {
  SetValue("excluding_index_format", "tif, .bmp;;PNG");
  EXPECT_THAT(ExcludedFormats(), ElementsAre("tif", "bmp", "PNG"));
  EXPECT_EQ(fake().Count("RLIBCSzListAlloc(1024)"), 1);
}

TEST_F(ConfigTest, NoExcludedFormatsIsAnEmptyList) {
  const OwnedList list(PhotoInfoDBExcludeFormatListGet());
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(RLIBCSzListCount(list.get()), 0);
}

TEST_F(ConfigTest, LongListOfExcludedFormatsIsCut) {
  const std::string long_entry(4090, 'x');
  SetValue("excluding_index_format", long_entry + ",tif12345");
  EXPECT_THAT(ExcludedFormats(), ElementsAre(long_entry, "tif1"));
}

TEST_P(ConfigFailureTest, ExcludedFormatsThatCannotBeReadAreAnEmptyList) {
  fake().failing = {"KAVODBConnect"};
  const OwnedList list(PhotoInfoDBExcludeFormatListGet());
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(RLIBCSzListCount(list.get()), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database",
                                      "photo_database.cpp (#) Error occurred, failed to get records."));
}

INSTANTIATE_TEST_SUITE_P(Requests, ConfigFailureTest, BothRequests(), RequestName);

TEST_F(ConfigTest, ListThatCannotBeAllocated) {
  fake().failing = {"RLIBCSzListAlloc"};
  EXPECT_EQ(PhotoInfoDBExcludeFormatListGet(), nullptr);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# RLIBCSzListAlloc failed"));
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

}  // namespace
