#include "process/metadata_tool.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "core/error.h"
#include "platform/exiv2_scope.h"
#include "platform/image_cache.h"
#include "platform/printed_metadata.h"

namespace {

constexpr int kFound = 0;
constexpr int kNothingRead = 1;  // no such key, or a file that is not read
constexpr int kNoFile = 255;

constexpr std::size_t kKeyWidth = 44;

struct Question {
  std::string path{};
  std::optional<std::string> key{};     // nothing: every key
  bool show_type = false;               // and count
  bool as_stored = false;               // the value uninterpreted
  const WantedTexts* wanted = nullptr;  // null for everything
};

std::optional<Question> Understand(const std::vector<std::string>& arguments) {
  constexpr std::size_t kListing = 3;
  constexpr std::size_t kOneKey = 5;
  if (arguments.size() == kListing && arguments[1] == "-pa") {
    return Question{.path = arguments[2], .show_type = true};
  }
  if (arguments.size() == kListing && arguments[1] == "-Pkt") {
    return Question{.path = arguments[2]};
  }
  if (arguments.size() == kOneKey && arguments[1] == "-K" &&
      (arguments[3] == "-Pt" || arguments[3] == "-Pv")) {
    return Question{.path = arguments[4], .key = arguments[2], .as_stored = arguments[3] == "-Pv"};
  }
  return std::nullopt;
}

void AppendPadded(std::string_view text, std::size_t width, std::string& out) {
  out += text;
  if (text.size() < width) out.append(width - text.size(), ' ');
}

SpawnResult Captured(int status, std::string output) {
  const bool complete = output.size() <= kMaxCapturedOutput;
  if (!complete) output.resize(kMaxCapturedOutput);
  return {status, std::move(output), complete};
}

// Of the longest name of a type and the longest count, with what stands around them.
constexpr std::size_t kMostColumns = 64;

// Whether a whole listing is certainly no longer than an output may be.
bool CertainlyFits(const PrintedMetadata& printed) {
  return printed.bytes + printed.data.size() * (kKeyWidth + kMostColumns) <= kMaxCapturedOutput;
}

// Numbers have no words.
bool IsWanted(const PrintedDatum& datum, const WantedTexts& wanted) {
  return std::any_of(wanted.begin(), wanted.end(), [&](const std::string& text) {
    return datum.key.find(text) != std::string::npos ||
           (datum.value && datum.value->find(text) != std::string::npos);
  });
}

// What is asked for of PRINTED, which is of IMAGE.
std::string Lines(const Question& question, const ParsedImage& image, const PrintedMetadata& printed) {
  const bool everything = question.wanted == nullptr || !CertainlyFits(printed);
  std::string output;
  for (const PrintedDatum& datum : printed.data) {
    if (!everything && !IsWanted(datum, *question.wanted)) continue;
    AppendPadded(datum.key, kKeyWidth, output);
    if (question.show_type) output += TypeColumns(*datum.datum);
    output += "  ";
    output += ValueOf(datum, image);
    output += '\n';
  }
  return output;
}

// Every key, with type and count where QUESTION asks for them. An error inside the library ends the listing
// in the middle of a line.
SpawnResult List(const Question& question, const ParsedImage& image) {
  const std::shared_ptr<const PrintedMetadata> printed = Printed(image);
  std::string output = Lines(question, image, *printed);
  if (printed->failed && !output.empty()) output.pop_back();
  return Captured(printed->failed ? kNothingRead : kFound, std::move(output));
}

// The values of one key, one line an occurrence.
class Values {
 public:
  Values(const Question& question, const ParsedImage& image) : question_(question), image_(image) {}

  // An error inside the library ends them; what stands already, stays.
  SpawnResult Print();

 private:
  void PrintEach();
  template <typename Data>
  void PrintEach(std::string_view family, const Data& data);
  void PrintEach(const PrintedMetadata& printed);
  void PrintStored(const Exiv2::Metadatum& datum);

  const Question& question_;
  const ParsedImage& image_;
  std::ostringstream out_;
  bool found_ = false;
};

SpawnResult Values::Print() {
  int status = kNothingRead;
  try {
    PrintEach();
    if (found_) status = kFound;
  } catch (const Exiv2::AnyError&) {
    status = kNothingRead;
  }
  return Captured(status, std::move(out_).str());
}

void Values::PrintEach() {
  const auto printed = question_.as_stored ? nullptr : PrintedBefore(image_);
  if (printed != nullptr && !printed->failed) return PrintEach(*printed);
  const Exiv2Scope scope;
  PrintEach("Exif.", image_.exif);
  PrintEach("Iptc.", image_.iptc);
  PrintEach("Xmp.", image_.xmp);
}

template <typename Data>
void Values::PrintEach(std::string_view family, const Data& data) {
  if (!question_.key->starts_with(family)) return;
  for (const Exiv2::Metadatum& datum : data) {
    if (static_cast<std::size_t>(out_.tellp()) > kMaxCapturedOutput) return;
    if (question_.key != datum.key() || !IsPrinted(datum)) continue;
    if (question_.as_stored) {
      PrintStored(datum);
    } else {
      out_ << datum.print(&image_.exif);
    }
    out_ << '\n';
    found_ = true;
  }
}

void Values::PrintEach(const PrintedMetadata& printed) {
  for (const PrintedDatum& datum : printed.data) {
    if (question_.key != datum.key) continue;
    out_ << ValueOf(datum, image_) << '\n';
    found_ = true;
  }
}

void Values::PrintStored(const Exiv2::Metadatum& datum) {
  if (const auto* text = dynamic_cast<const Exiv2::XmpTextValue*>(&datum.value())) {
    out_ << text->value_;  // without the kind of node that it is
  } else {
    out_ << datum.value();
  }
}

SpawnResult Answer(const Question& question) {
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(question.path);
  switch (image->outcome) {
    case ParsedImage::Outcome::kMissing:
      return {kNoFile, {}};
    case ParsedImage::Outcome::kFailed:
      return {kNothingRead, {}};
    case ParsedImage::Outcome::kParsed:
      break;
  }
  if (!question.key) return List(question, *image);
  return Values(question, *image).Print();
}

}  // namespace

std::optional<SpawnResult> AnswerMetadataQuestion(const std::vector<std::string>& arguments,
                                                  const WantedTexts& wanted) noexcept {
  return WithoutExceptions(std::optional<SpawnResult>(), [&]() -> std::optional<SpawnResult> {
    std::optional<Question> question = Understand(arguments);
    if (question && !wanted.empty()) question->wanted = &wanted;
    if (question) return Answer(*question);
    RECORD_ERROR(EINVAL);
    return std::nullopt;
  });
}
