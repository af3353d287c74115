#include "platform/printed_metadata.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <locale>
#include <mutex>
#include <sstream>
#include <utility>

#include "platform/exiv2_scope.h"
#include "process/spawn.h"

namespace {

// Bytes of one file. An ordinary photo prints some 20 KB.
constexpr std::size_t kMostKept = std::size_t{256} << 10;

std::mutex& TheMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string TypeName(const Exiv2::Metadatum& datum) {
  if (const char* known = datum.typeName(); known != nullptr) return known;
  std::array<char, sizeof "0x12345678"> number{};
  std::snprintf(number.data(), number.size(), "0x%04x", static_cast<unsigned>(datum.typeId()));
  return number.data();
}

// The function that prints TAG of GROUP; null for a tag that the library does not know.
Exiv2::PrintFct PrintOf(const std::string& group, std::uint16_t tag) {
  constexpr std::uint16_t kLast = 0xFFFF;
  const Exiv2::TagInfo* info = Exiv2::ExifTags::tagList(group);
  while (info != nullptr && info->tag_ != tag && info->tag_ != kLast) ++info;
  return info != nullptr && info->tag_ == tag ? info->printFct_ : nullptr;
}

constexpr std::uint16_t kMakerNote = 0x927C;

// Whole numbers in the usual form, of which large binary values have thousands. Everything else as ever.
class PlainNumbers : public std::num_put<char> {
  iter_type do_put(iter_type out, std::ios_base& format, char_type fill, long value) const override {
    constexpr auto kUnusual = std::ios_base::oct | std::ios_base::hex | std::ios_base::showpos;
    if ((format.flags() & kUnusual) != 0 || format.width() != 0)
      return num_put::do_put(out, format, fill, value);
    std::array<char, std::numeric_limits<long>::digits10 + 2> digits;
    const char* end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    return std::copy(digits.cbegin(), end, out);
  }
};

const std::locale& NumbersLocale() {
  static const std::locale locale(std::locale::classic(), new PlainNumbers);
  return locale;
}

// Prints values as Metadatum::print does, but with one stream for all: making one costs more than printing
// most values.
class ValuePrinter {
 public:
  explicit ValuePrinter(const Exiv2::ExifData& context) : context_(context) {
    stream_.imbue(NumbersLocale());
  }

  std::string Print(const Exiv2::Metadatum& datum) {
    stream_.str({});
    stream_.clear();
    stream_.flags(std::ios_base::dec | std::ios_base::skipws);
    stream_.precision(kPrecision);
    stream_.width(0);
    stream_.fill(' ');
    datum.write(stream_, &context_);
    return std::string(stream_.view());
  }

 private:
  static constexpr std::streamsize kPrecision = 6;  // of a new stream, as the rest of its format

  const Exiv2::ExifData& context_;
  std::ostringstream stream_;
};

// How the library prints what it has no better words for.
Exiv2::PrintFct PlainPrint() {
  static const Exiv2::PrintFct plain = PrintOf("Photo", kMakerNote);
  return plain;
}

// Bytes that the library prints as numbers, and no tag's own way of printing them, which might fail.
bool IsLongBinary(const Exiv2::Metadatum& datum) {
  constexpr long kLong = 32;
  if (datum.typeId() != Exiv2::undefined || datum.size() < kLong) return false;
  const auto* exif = dynamic_cast<const Exiv2::Exifdatum*>(&datum);
  if (exif == nullptr || dynamic_cast<const Exiv2::DataValue*>(&exif->value()) == nullptr) return false;
  const auto print = PrintOf(exif->groupName(), exif->tag());
  return print != nullptr && print == PlainPrint();
}

// Of the bytes of DATUM as numbers, with a blank between each two.
std::size_t PrintedLength(const Exiv2::Metadatum& datum) {
  constexpr Exiv2::byte kTwoDigits = 10;
  constexpr Exiv2::byte kThreeDigits = 100;
  std::vector<Exiv2::byte> bytes(static_cast<std::size_t>(datum.size()));
  datum.value().copy(bytes.data(), Exiv2::invalidByteOrder);
  std::size_t length = 2 * bytes.size() - 1;
  for (const Exiv2::byte byte : bytes)
    length += (byte >= kTwoDigits ? 1U : 0U) + (byte >= kThreeDigits ? 1U : 0U);
  return length;
}

// Collects one kind of metadata after the other.
class Printer {
 public:
  explicit Printer(const ParsedImage& image) : image_(image), values_(image.exif) {}

  PrintedMetadata Print();
  // Of the texts that were printed.
  std::size_t kept() const { return kept_; }

 private:
  template <typename Data>
  void Add(const Data& data);

  const ParsedImage& image_;
  ValuePrinter values_;
  PrintedMetadata printed_;
  std::size_t kept_ = 0;
};

PrintedMetadata Printer::Print() {
  const Exiv2Scope scope;
  printed_.data.reserve(
      static_cast<std::size_t>(image_.exif.count() + image_.iptc.count() + image_.xmp.count()));
  try {
    Add(image_.exif);
    Add(image_.iptc);
    Add(image_.xmp);
  } catch (const Exiv2::AnyError&) {
    printed_.failed = true;
  }
  return std::move(printed_);
}

template <typename Data>
void Printer::Add(const Data& data) {
  for (const Exiv2::Metadatum& datum : data) {
    if (printed_.bytes > kMaxCapturedOutput) return;
    if (!IsPrinted(datum)) continue;
    PrintedDatum& added = printed_.data.emplace_back(PrintedDatum{datum.key(), &datum, {}});
    const bool waits = IsLongBinary(datum);
    if (!waits) added.value = values_.Print(datum);
    const std::size_t kept = added.key.size() + (added.value ? added.value->size() : 0) + 1;
    kept_ += kept;
    printed_.bytes += kept + (waits ? PrintedLength(datum) : 0);
  }
}

}  // namespace

std::string TypeColumns(const Exiv2::Metadatum& datum) {
  constexpr std::size_t kTypeWidth = 9;
  constexpr std::size_t kCountWidth = 3;
  const std::string name = TypeName(datum);
  const std::string count = std::to_string(datum.count());
  std::string columns = " " + name;
  columns.append(name.size() < kTypeWidth ? kTypeWidth - name.size() : 0, ' ') += ' ';
  columns.append(count.size() < kCountWidth ? kCountWidth - count.size() : 0, ' ') += count;
  return columns;
}

std::string ValueOf(const PrintedDatum& datum, const ParsedImage& image) {
  if (datum.value) return *datum.value;
  const Exiv2Scope scope;
  return ValuePrinter(image.exif).Print(*datum.datum);
}

bool IsPrinted(const Exiv2::Metadatum& datum) {
  return !datum.tagName().starts_with("0x");
}

std::shared_ptr<const PrintedMetadata> PrintedBefore(const ParsedImage& image) {
  const std::lock_guard lock(TheMutex());
  return image.printed;
}

std::shared_ptr<const PrintedMetadata> Printed(const ParsedImage& image) {
  if (auto before = PrintedBefore(image)) return before;
  Printer printer(image);
  auto printed = std::make_shared<const PrintedMetadata>(printer.Print());
  if (printer.kept() > kMostKept) return printed;
  const std::lock_guard lock(TheMutex());
  image.printed = printed;
  return printed;
}

void PrepareMetadataAnswers(const std::string& path) {
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(path);
  if (image->outcome == ParsedImage::Outcome::kParsed) Printed(*image);
}
