#include "base/json_value.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

template <typename Value>
Json::Value With(const Value& value) {
  Json::Value object(Json::objectValue);
  object["key"] = value;
  return object;
}

const Json::Value kOtherKinds[] = {Json::Value(), Json::Value(3), Json::Value("x"),
                                   Json::Value(Json::arrayValue)};

TEST(JsonText, ReadsTextsUpToTheirFirstNul) {
  EXPECT_EQ(JsonText(With("text"), "key"), "text");
  EXPECT_EQ(JsonText(With(std::string("te\0xt", 5)), "key"), "te");
}

TEST(JsonText, OtherKindsReadAsTextOrAsNothing) {
  EXPECT_EQ(JsonText(With(5), "key"), "5");
  EXPECT_EQ(JsonText(With(true), "key"), "true");
  EXPECT_EQ(JsonText(With(Json::Value()), "key"), "");
  EXPECT_EQ(JsonText(With(Json::Value(Json::arrayValue)), "key"), "");
  EXPECT_EQ(JsonText(With(Json::Value(Json::objectValue)), "key"), "");
}

TEST(JsonText, WhatIsMissingIsEmpty) {
  EXPECT_EQ(JsonText(With("text"), "other"), "");
  for (const Json::Value& value : kOtherKinds) EXPECT_EQ(JsonText(value, "key"), "");
}

TEST(JsonValue, ReadingAddsNoMember) {
  const Json::Value object(Json::objectValue);
  JsonText(object, "key");
  JsonInt(object, "key");
  EXPECT_EQ(object.size(), 0U);
}

TEST(JsonInt, ReadsNumbersOfEveryKind) {
  EXPECT_EQ(JsonInt(With(-5), "key"), -5);
  EXPECT_EQ(JsonInt(With(5U), "key"), 5);
  EXPECT_EQ(JsonInt(With(5.9), "key"), 5);
  EXPECT_EQ(JsonInt(With(-5.9), "key"), -5);
  EXPECT_EQ(JsonInt(With(true), "key"), 1);
}

TEST(JsonInt, WhatIsNoNumberIsZero) {
  EXPECT_EQ(JsonInt(With("5"), "key"), 0);
  EXPECT_EQ(JsonInt(With(Json::Value()), "key"), 0);
  EXPECT_EQ(JsonInt(With(Json::Value(Json::objectValue)), "key"), 0);
  EXPECT_EQ(JsonInt(With(5), "other"), 0);
  for (const Json::Value& value : kOtherKinds) EXPECT_EQ(JsonInt(value, "key"), 0);
}

TEST(JsonInt, NumbersBeyondItBecomeTheNearest) {
  EXPECT_EQ(JsonInt(With(Json::Int64{3'000'000'000}), "key"), 2147483647);
  EXPECT_EQ(JsonInt(With(Json::Int64{-3'000'000'000}), "key"), -2147483647 - 1);
  EXPECT_EQ(JsonInt(With(1e18), "key"), 2147483647);
  EXPECT_EQ(JsonInt(With(std::numeric_limits<double>::quiet_NaN()), "key"), 0);
}

TEST(JsonUInt, NegativeNumbersAreZero) {
  EXPECT_EQ(JsonUInt(With(-1), "key"), 0U);
  EXPECT_EQ(JsonUInt(With(4'000'000'000U), "key"), 4'000'000'000U);
  EXPECT_EQ(JsonUInt(With(-0.5), "key"), 0U);
}

TEST(JsonInt64, ReadsTheWholeRange) {
  EXPECT_EQ(JsonInt64(With(Json::Int64{-5'000'000'000}), "key"), -5'000'000'000);
  EXPECT_EQ(JsonUInt64(With(Json::UInt64{18'446'744'073'709'551'615U}), "key"), 18'446'744'073'709'551'615U);
  EXPECT_EQ(JsonInt64(With(1e300), "key"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(JsonUInt64(With(1e300), "key"), std::numeric_limits<std::uint64_t>::max());
}

TEST(JsonDouble, ReadsNumbersAndNothingElse) {
  EXPECT_EQ(JsonDouble(With(1.5), "key"), 1.5);
  EXPECT_EQ(JsonDouble(With(2), "key"), 2);
  EXPECT_EQ(JsonDouble(With("1.5"), "key"), 0);
  EXPECT_EQ(JsonDouble(With(Json::Value(Json::arrayValue)), "key"), 0);
}

TEST(TruncatedToInt, AnyValueHasAnInteger) {
  EXPECT_EQ(TruncatedToInt(12.9), 12);
  EXPECT_EQ(TruncatedToInt(-12.9), -12);
  EXPECT_EQ(TruncatedToInt(2147483647.5), 2147483647);
  EXPECT_EQ(TruncatedToInt(-std::numeric_limits<double>::infinity()), -2147483647 - 1);
}

}  // namespace
