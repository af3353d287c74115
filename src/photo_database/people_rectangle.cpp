#include "photo_database/people_rectangle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string_view>
#include <vector>

#include "base/c_locale.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/tool_values.h"

namespace {

constexpr std::size_t kJsonSize = 255;
// In the order of every text form.
constexpr std::array kParts = {&Rectangle::x, &Rectangle::y, &Rectangle::width, &Rectangle::height};
constexpr double kLeastExtent = 0.001;
// With room for the last binary digit of a difference of exactly a hundredth.
constexpr double kTolerance = 0.01 + 1e-9;
// A relative coordinate beyond this is no coordinate. Nobody sees it on a photo, and it needs no more digits
// than a text of a rectangle has room for.
constexpr double kLargestNumber = 1e6;
constexpr std::string_view kFaceElement = "\"face\"";
constexpr const char* kBlanks = " \t";

double Usable(double number) {
  return std::abs(number) <= kLargestNumber ? number : 0;
}

double FloorExtent(double extent) {
  return extent > 0 ? extent : kLeastExtent;
}

// TEXT as a number, which must be all of it.
std::optional<double> WholeNumber(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0' || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<std::vector<std::string>> SplitParts(std::string_view text) {
  constexpr std::string_view kSeparator = ", ";
  std::vector<std::string> parts;
  for (auto end = text.find(kSeparator); end != std::string_view::npos; end = text.find(kSeparator)) {
    parts.emplace_back(text.substr(0, end));
    text.remove_prefix(end + kSeparator.size());
  }
  parts.emplace_back(text);
  if (parts.size() != kParts.size()) return std::nullopt;
  return parts;
}

std::optional<Rectangle> RectangleOf(const std::vector<std::string>& parts) {
  const CLocale locale;
  Rectangle rectangle;
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    const auto number = WholeNumber(parts[i]);
    if (!number) return std::nullopt;
    rectangle.*kParts[i] = Usable(*number);
  }
  return rectangle;
}

// Behind the value that starts at START: a quoted text, an object without an inner one, or a plain word.
std::size_t EndOfValue(std::string_view text, std::size_t start) {
  if (start >= text.size()) return std::string_view::npos;
  if (text[start] != '"' && text[start] != '{') return text.find_first_of(",}", start);
  const auto end = text.find(text[start] == '"' ? '"' : '}', start + 1);
  return end == std::string_view::npos ? end : end + 1;
}

// TEXT without its face element; nothing when that has no end.
std::optional<std::string> WithoutFace(const std::string& text) {
  const auto start = text.find(kFaceElement);
  if (start == std::string::npos) return text;
  const auto colon = text.find_first_not_of(kBlanks, start + kFaceElement.size());
  if (colon == std::string::npos || text[colon] != ':') return std::nullopt;
  const auto end = EndOfValue(text, text.find_first_not_of(kBlanks, colon + 1));
  if (end == std::string::npos) return std::nullopt;
  return text.substr(0, start) + text.substr(end);
}

// The words between braces, quotes, commas, blanks and colons, taken as pairs of a name and a value.
std::map<std::string, std::string> Pairs(std::string_view text) {
  constexpr std::string_view kSeparators = "{}\", :";
  std::vector<std::string> words;
  for (auto start = text.find_first_not_of(kSeparators); start != std::string_view::npos;
       start = text.find_first_not_of(kSeparators)) {
    text.remove_prefix(start);
    const auto end = std::min(text.find_first_of(kSeparators), text.size());
    words.emplace_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  std::map<std::string, std::string> pairs;
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) pairs[words[i]] = words[i + 1];
  return pairs;
}

enum Orientation {
  kMirrored = 2,
  kHalfTurn = 3,
  kUpsideDown = 4,  // mirrored
  kTransposed = 5,
  kQuarterTurnRight = 6,
  kTransversed = 7,
  kQuarterTurnLeft = 8
};

// A stored rectangle as it lies on the image shown with ORIENTATION.
Rectangle Turned(const Rectangle& r, int orientation) {
  const double right = 1 - r.x - r.width;
  const double bottom = 1 - r.y - r.height;
  switch (orientation) {
    case kMirrored:
      return {right, r.y, r.width, r.height};
    case kHalfTurn:
      return {right, bottom, r.width, r.height};
    case kUpsideDown:
      return {r.x, bottom, r.width, r.height};
    case kTransposed:
      return {r.y, r.x, r.height, r.width};
    case kQuarterTurnRight:
      return {bottom, r.x, r.height, r.width};
    case kTransversed:
      return {bottom, right, r.height, r.width};
    case kQuarterTurnLeft:
      return {r.y, right, r.height, r.width};
    default:
      return r;
  }
}

bool AreNear(const Rectangle& a, const Rectangle& b) {
  return std::abs(a.x - b.x) <= kTolerance && std::abs(a.y - b.y) <= kTolerance &&
         std::abs(a.width - b.width) <= kTolerance && std::abs(a.height - b.height) <= kTolerance;
}

}  // namespace

std::string RectangleText(const Rectangle& rectangle) {
  const CLocale locale;
  return FormatText(kJsonSize, "%f, %f, %f, %f", Usable(rectangle.x), Usable(rectangle.y),
                    Usable(rectangle.width), Usable(rectangle.height));
}

std::optional<Rectangle> ParseMetadataRectangle(const std::string& text) {
  const auto parts = SplitParts(text);
  auto rectangle = parts ? RectangleOf(*parts) : std::nullopt;
  if (!rectangle) LOG_COLON(kPhotoDatabaseSource, "metadata rectangle wrong. [%s]", text.c_str());
  return rectangle;
}

std::optional<Rectangle> ParseFaceInfo(const std::string& text) {
  const auto rest = WithoutFace(text);
  if (!rest) {
    LOG_COLON(kPhotoDatabaseSource, "DB info [%s] wrong, remove face element failed.", text.c_str());
    return std::nullopt;
  }
  auto pairs = Pairs(*rest);
  auto rectangle = RectangleOf({pairs["x"], pairs["y"], pairs["width"], pairs["height"]});
  if (!rectangle) LOG_COLON(kPhotoDatabaseSource, "face recognition parsing failed. [%s]", text.c_str());
  return rectangle;
}

bool RectanglesAgree(const Rectangle& metadata, const Rectangle& face, int orientation) {
  const Rectangle region = {metadata.x, metadata.y, FloorExtent(metadata.width),
                            FloorExtent(metadata.height)};
  return AreNear(region, face) || AreNear(Turned(region, orientation), face);
}

int getPeopleTaggingRectangleToJson(const char* rectangle, std::string* json) {
  const CLocale locale;
  const std::vector<std::string> words = SplitWords(Cut(rectangle, kPathSize));
  Rectangle parsed;
  for (std::size_t i = 0; i < std::min(words.size(), kParts.size()); ++i) {
    parsed.*kParts[i] = Usable(std::strtod(words[i].c_str(), nullptr));
  }
  *json = FormatText(kJsonSize, "{\"x\":%f,\"y\":%f,\"width\":%f,\"height\":%f}", parsed.x, parsed.y,
                     FloorExtent(parsed.width), FloorExtent(parsed.height));
  return 1;
}
