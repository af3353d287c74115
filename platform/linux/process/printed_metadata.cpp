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

// " Short       1"
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

// Collects one kind of metadata after the other.
class Printer {
 public:
  explicit Printer(const ParsedImage& image) : image_(image), values_(image.exif) {}

  PrintedMetadata Print();
  std::size_t bytes() const { return bytes_; }

 private:
  template <typename Data>
  void Add(const Data& data);

  const ParsedImage& image_;
  ValuePrinter values_;
  PrintedMetadata printed_;
  std::size_t bytes_ = 0;  // of the shortest listing
};

PrintedMetadata Printer::Print() {
  const Exiv2Scope scope;
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
    if (bytes_ > kMaxCapturedOutput) return;
    if (!IsPrinted(datum)) continue;
    PrintedDatum& added = printed_.data.emplace_back(PrintedDatum{datum.key(), TypeColumns(datum), {}});
    added.value = values_.Print(datum);
    bytes_ += added.key.size() + added.value.size() + 1;
  }
}

}  // namespace

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
  if (printer.bytes() > kMostKept) return printed;
  const std::lock_guard lock(TheMutex());
  image.printed = printed;
  return printed;
}

void PrepareMetadataAnswers(const std::string& path) {
  const std::shared_ptr<const ParsedImage> image = GetParsedImage(path);
  if (image->outcome == ParsedImage::Outcome::kParsed) Printed(*image);
}
