#include "process/printed_metadata.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <utility>

#include "process/exiv2_scope.h"
#include "process/spawn.h"

namespace {

// Bytes of one file. An ordinary photo prints some 20 KB.
constexpr std::size_t kMostKept = std::size_t{256} << 10;

std::mutex& TheMutex() {
  static std::mutex mutex;
  return mutex;
}

// " Short       1"
std::string TypeColumns(const Exiv2::Metadatum& datum) {
  constexpr std::size_t kSize = 64;  // the longest name of a type is shorter than half of it
  char name[kSize];
  if (const char* known = datum.typeName(); known != nullptr) {
    std::snprintf(name, sizeof name, "%s", known);
  } else {
    std::snprintf(name, sizeof name, "0x%04x", static_cast<unsigned>(datum.typeId()));
  }
  char columns[2 * kSize];
  std::snprintf(columns, sizeof columns, " %-9s %3ld", name, datum.count());
  return columns;
}

// Collects one kind of metadata after the other.
class Printer {
 public:
  explicit Printer(const ParsedImage& image) : image_(image) {}

  PrintedMetadata Print();
  std::size_t bytes() const { return bytes_; }

 private:
  template <typename Data>
  void Add(const Data& data);

  const ParsedImage& image_;
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
    PrintedDatum& added = printed_.data.emplace_back(datum.key(), TypeColumns(datum));
    added.value = datum.print(&image_.exif);
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
