#include "process/metadata_tool.h"

#include <iomanip>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "core/error.h"
#include "process/exiv2_scope.h"
#include "process/image_cache.h"

namespace {

constexpr int kFound = 0;
constexpr int kNothingRead = 1;  // no such key, or a file that is not read
constexpr int kNoFile = 255;

constexpr int kKeyWidth = 44;
constexpr int kTypeWidth = 9;
constexpr int kCountWidth = 3;

struct Question {
  std::string path{};
  std::string key{};  // empty: every key
  bool show_key = false;
  bool show_type = false;  // and count
  bool as_stored = false;  // the value uninterpreted
};

std::optional<Question> Understand(const std::vector<std::string>& arguments) {
  constexpr std::size_t kListing = 3;
  constexpr std::size_t kOneKey = 5;
  if (arguments.size() == kListing && arguments[1] == "-pa") {
    return Question{.path = arguments[2], .show_key = true, .show_type = true};
  }
  if (arguments.size() == kListing && arguments[1] == "-Pkt") {
    return Question{.path = arguments[2], .show_key = true};
  }
  if (arguments.size() == kOneKey && arguments[1] == "-K" &&
      (arguments[3] == "-Pt" || arguments[3] == "-Pv")) {
    return Question{.path = arguments[4], .key = arguments[2], .as_stored = arguments[3] == "-Pv"};
  }
  return std::nullopt;
}

// Prints one kind of metadata after the other into one stream, as the tool does.
class Listing {
 public:
  Listing(const Question& question, const ParsedImage& image) : question_(question), image_(image) {}

  // An error inside the library ends the listing; what stands already, stays.
  SpawnResult Print();

 private:
  template <typename Data>
  void PrintAll(std::string_view family, const Data& data);
  void PrintLine(const Exiv2::Metadatum& datum, const std::string& key);
  void PrintType(const Exiv2::Metadatum& datum);
  void PrintValue(const Exiv2::Metadatum& datum);

  const Question& question_;
  const ParsedImage& image_;
  std::ostringstream out_;
  bool found_ = false;
};

SpawnResult Listing::Print() {
  int status = kFound;
  try {
    PrintAll("Exif.", image_.exif);
    PrintAll("Iptc.", image_.iptc);
    PrintAll("Xmp.", image_.xmp);
    if (!question_.key.empty() && !found_) status = kNothingRead;
  } catch (const Exiv2::AnyError&) {
    status = kNothingRead;
  }
  std::string output = std::move(out_).str();
  const bool complete = output.size() <= kMaxCapturedOutput;
  if (!complete) output.resize(kMaxCapturedOutput);
  return {status, std::move(output), complete};
}

template <typename Data>
void Listing::PrintAll(std::string_view family, const Data& data) {
  if (!question_.key.empty() && !question_.key.starts_with(family)) return;
  for (const Exiv2::Metadatum& datum : data) {
    if (static_cast<std::size_t>(out_.tellp()) > kMaxCapturedOutput) return;
    const std::string key = datum.key();
    if (!question_.key.empty() && question_.key != key) continue;
    // Tags that the library has no name for are left out.
    if (datum.tagName().starts_with("0x")) continue;
    PrintLine(datum, key);
    found_ = true;
  }
}

void Listing::PrintLine(const Exiv2::Metadatum& datum, const std::string& key) {
  if (question_.show_key) out_ << std::setfill(' ') << std::left << std::setw(kKeyWidth) << key;
  if (question_.show_type) PrintType(datum);
  if (question_.show_key) out_ << "  ";
  PrintValue(datum);
  out_ << '\n';
}

void Listing::PrintValue(const Exiv2::Metadatum& datum) {
  if (!question_.as_stored) {
    out_ << datum.print(&image_.exif);
  } else if (const auto* text = dynamic_cast<const Exiv2::XmpTextValue*>(&datum.value())) {
    out_ << text->value_;  // without the kind of node that it is
  } else {
    out_ << datum.value();
  }
}

void Listing::PrintType(const Exiv2::Metadatum& datum) {
  const char* name = datum.typeName();
  out_ << ' ' << std::left << std::setw(kTypeWidth);
  if (name != nullptr) {
    out_ << name;
  } else {
    std::ostringstream number;
    number << "0x" << std::setw(4) << std::setfill('0') << std::hex << datum.typeId();
    out_ << number.str();
  }
  out_ << ' ' << std::setw(kCountWidth) << std::right << datum.count();
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
  const Exiv2Scope scope;
  return Listing(question, *image).Print();
}

}  // namespace

std::optional<SpawnResult> AnswerMetadataQuestion(const std::vector<std::string>& arguments) noexcept {
  return Contained(std::optional<SpawnResult>(), [&]() -> std::optional<SpawnResult> {
    const std::optional<Question> question = Understand(arguments);
    if (question) return Answer(*question);
    RECORD_ERROR(EINVAL);
    return std::nullopt;
  });
}
