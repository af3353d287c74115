#include "photo_database/people_rectangle.h"

#include <cmath>
#include <map>

#include "base/text.h"
#include "support/comma_locale.h"
#include "support/fake_library.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string Json(const std::string& rectangle) {
  std::string json;
  EXPECT_EQ(getPeopleTaggingRectangleToJson(rectangle.c_str(), &json), 1);
  return json;
}

// "x y width height", or "none".
std::string Numbers(const std::optional<Rectangle>& rectangle) {
  if (!rectangle) return "none";
  return FormatText(64, "%g %g %g %g", rectangle->x, rectangle->y, rectangle->width, rectangle->height);
}

TEST(RectangleToJson, KeepsAFloorUnderTheExtent) {
  EXPECT_EQ(Json("0.1 0.2 0 -1"), R"({"x":0.100000,"y":0.200000,"width":0.001000,"height":0.001000})");
}

TEST(RectangleToJson, CommasAreIgnored) {
  EXPECT_EQ(Json("0.1, 0.2, 0.3, 0.4"), R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":0.400000})");
}

TEST(RectangleToJson, MissingAndUnusableNumbersAreZero) {
  EXPECT_EQ(Json(""), R"({"x":0.000000,"y":0.000000,"width":0.001000,"height":0.001000})");
  EXPECT_EQ(Json("a 0.5 nan inf"), R"({"x":0.000000,"y":0.500000,"width":0.001000,"height":0.001000})");
  EXPECT_EQ(Json("1e300 -1e300 1e300 0.5 7"),
            R"({"x":0.000000,"y":0.000000,"width":0.001000,"height":0.500000})");
}

TEST(RectangleToJson, TextIsCut) {
  const std::string blanks(4094 - 12, ' ');
  EXPECT_EQ(Json("0.1 0.2 0.3 " + blanks + "5.5"),
            R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":5.000000})");
  EXPECT_EQ(Json("0.1 0.2 0.3 " + blanks + " 5.5"),
            R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":0.001000})");
}

TEST(RectangleToJson, DecimalPointIsAPointEverywhere) {
  const CommaLocale locale;
  if (!locale.active()) GTEST_SKIP() << "no locale with a decimal comma";
  EXPECT_EQ(Json("0.1 0.2 0.3 0.4"), R"({"x":0.100000,"y":0.200000,"width":0.300000,"height":0.400000})");
  EXPECT_EQ(RectangleText({0.1, 0.2, 0.3, 0.4}), "0.100000, 0.200000, 0.300000, 0.400000");
  EXPECT_EQ(Numbers(ParseMetadataRectangle("0.5, 0.5, 0.5, 0.5")).size(), 15U);
}

TEST(MetadataRectangle, HasExactlyFourParts) {
  EXPECT_EQ(Numbers(ParseMetadataRectangle("0.1, 0.2, 0.3, 0.4")), "0.1 0.2 0.3 0.4");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST(MetadataRectangle, OtherTextsAreLogged) {
  for (const char* text : {"", "0.1, 0.2, 0.3", "0.1, 0.2, 0.3, 0.4, 0.5", "0.1,0.2,0.3,0.4", "a, b, c, d",
                           "0.1, 0.2, 0.3, 0.4x", "0.1, 0.2, nan, 0.4", "0.1, 0.2, , 0.4"}) {
    SyslogCapture::Clear();
    EXPECT_EQ(ParseMetadataRectangle(text), std::nullopt) << text;
    EXPECT_THAT(SyslogCapture::Messages(),
                ElementsAre("photo_database.cpp:# metadata rectangle wrong. [" + std::string(text) + "]"));
  }
}

TEST(MetadataRectangle, EveryPrefixIsAccepted) {
  const std::string text = "0.1, 0.2, 0.3, 0.4";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string number = length > 15 ? text.substr(15, length - 15) : "";
    const std::string expected = number.empty()    ? "none"
                                 : number == "0.4" ? "0.1 0.2 0.3 0.4"
                                                   : "0.1 0.2 0.3 0";
    EXPECT_EQ(Numbers(ParseMetadataRectangle(text.substr(0, length))), expected) << length;
  }
}

TEST(MetadataRectangle, EveryByteIsAccepted) {
  const std::string text = "0.1, 0.2, 0.3, 0.4";
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = text;
      changed[i] = static_cast<char>(byte);
      const auto rectangle = ParseMetadataRectangle(changed);
      EXPECT_TRUE(!rectangle ||
                  std::isfinite(rectangle->x + rectangle->y + rectangle->width + rectangle->height));
    }
  }
}

TEST(FaceInfo, FourKeysInAnyOrder) {
  EXPECT_EQ(Numbers(ParseFaceInfo(R"({"x":0.1,"y":0.2,"width":0.3,"height":0.4})")), "0.1 0.2 0.3 0.4");
  EXPECT_EQ(Numbers(ParseFaceInfo(R"({ "height" : "0.4", "width": 0.3, "y": 0.2, "x":0.1 })")),
            "0.1 0.2 0.3 0.4");
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST(FaceInfo, FaceElementIsNotRead) {
  for (const char* text : {R"({"face":"a b,c","x":0.1,"y":0.2,"width":0.3,"height":0.4})",
                           R"({"x":0.1,"y":0.2,"width":0.3,"height":0.4,"face":true})",
                           R"({"x":0.1,"face" : {"x": 9, "id": 3},"y":0.2,"width":0.3,"height":0.4})",
                           R"({"x":0.1,"y":0.2,"face":12,"width":0.3,"height":0.4})"}) {
    EXPECT_EQ(Numbers(ParseFaceInfo(text)), "0.1 0.2 0.3 0.4") << text;
  }
  EXPECT_THAT(SyslogCapture::Messages(), IsEmpty());
}

TEST(FaceInfo, FaceElementWithoutAnEndIsLogged) {
  for (const char* text : {R"({"x":1,"face")", R"({"x":1,"face" 1})", R"({"x":1,"face":)",
                           R"({"x":1,"face":"a)", R"({"x":1,"face":{"a":1)", R"({"x":1,"face":12)"}) {
    SyslogCapture::Clear();
    EXPECT_EQ(ParseFaceInfo(text), std::nullopt) << text;
    EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# DB info [" + std::string(text) +
                                                       "] wrong, remove face element failed."));
  }
}

TEST(FaceInfo, MissingKeysAreLogged) {
  for (const char* text :
       {"", "{}", R"({"x":0.1,"y":0.2,"width":0.3})", R"({"x":0.1,"y":0.2,"width":0.3,"height":})",
        R"({"x":0.1,"y":0.2,"width":0.3,"height":"tall"})", "x y width height"}) {
    SyslogCapture::Clear();
    EXPECT_EQ(ParseFaceInfo(text), std::nullopt) << text;
    EXPECT_THAT(
        SyslogCapture::Messages(),
        ElementsAre("photo_database.cpp:# face recognition parsing failed. [" + std::string(text) + "]"));
  }
}

TEST(FaceInfo, EveryPrefixIsAccepted) {
  const std::string text = R"({"face":{"a":"b"},"x":0.1,"y":0.2,"width":0.3,"height":0.4})";
  const std::size_t last_number = text.rfind(':') + 1;
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string number = length > last_number ? text.substr(last_number, length - last_number) : "";
    const std::map<std::string, std::string> read = {
        {"0", "0"}, {"0.", "0"}, {"0.4", "0.4"}, {"0.4}", "0.4"}};
    const auto found = read.find(number);
    EXPECT_EQ(Numbers(ParseFaceInfo(text.substr(0, length))),
              found == read.end() ? "none" : "0.1 0.2 0.3 " + found->second)
        << length;
  }
}

constexpr Rectangle kRegion = {0.1, 0.2, 0.3, 0.25};

TEST(RectanglesAgree, AtTheSamePlace) {
  for (int orientation = -1; orientation < 12; ++orientation) {
    EXPECT_TRUE(RectanglesAgree(kRegion, kRegion, orientation)) << orientation;
  }
}

TEST(RectanglesAgree, EmptyExtentIsTheStoredThousandth) {
  const Rectangle stored = {0.1, 0.2, 0.001, 0.001};
  for (const double extent : {0.0, -1.0, -1e6}) {
    EXPECT_TRUE(RectanglesAgree({0.1, 0.2, extent, extent}, stored, 1)) << extent;
    EXPECT_FALSE(RectanglesAgree({0.1, 0.2, extent, 0.3}, stored, 1)) << extent;
  }
}

TEST(RectanglesAgree, WithinAHundredthOfEachNumber) {
  double Rectangle::*const parts[] = {&Rectangle::x, &Rectangle::y, &Rectangle::width, &Rectangle::height};
  for (const auto part : parts) {
    Rectangle near = kRegion;
    near.*part += 0.01;
    EXPECT_TRUE(RectanglesAgree(kRegion, near, 1));
    near.*part += 0.001;
    EXPECT_FALSE(RectanglesAgree(kRegion, near, 1));
  }
}

TEST(RectanglesAgree, TurnedByTheOrientation) {
  const Rectangle shown[] = {{0.6, 0.2, 0.3, 0.25}, {0.6, 0.55, 0.3, 0.25}, {0.1, 0.55, 0.3, 0.25},
                             {0.2, 0.1, 0.25, 0.3}, {0.55, 0.1, 0.25, 0.3}, {0.55, 0.6, 0.25, 0.3},
                             {0.2, 0.6, 0.25, 0.3}};
  for (int orientation = 2; orientation <= 8; ++orientation) {
    for (int other = 2; other <= 8; ++other) {
      EXPECT_EQ(RectanglesAgree(kRegion, shown[other - 2], orientation), orientation == other)
          << orientation << " " << other;
    }
  }
}

}  // namespace
