#include "platform/image_cache.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/file_descriptor.h"
#include "core/file_state.h"
#include "platform/exiv2_scope.h"
#include "platform/media_file.h"
#include "platform/safe_image.h"
#include "platform/xmp_namespaces.h"
#include "process/jpeg_head.h"
#include "process/kept_image.h"
#include "process/metadata_size.h"

namespace {

using Image = std::shared_ptr<const ParsedImage>;

constexpr std::size_t kMostKept = 32;
// Estimated bytes of one file's metadata. An ordinary photo has some 100 KB. A large one is kept for the
// questions that follow the first, and let go before the next file is parsed; a larger one is not kept.
constexpr std::size_t kLarge = std::size_t{4} << 20;
constexpr std::size_t kMostBytes = std::size_t{24} << 20;  // of those that are not large
constexpr std::size_t kLargestKept = std::size_t{64} << 20;
constexpr std::size_t kDatumOverhead = 256;  // nodes, keys and value objects around the bytes of one value
constexpr std::size_t kXmpExpansion = 4;     // parsed values against the bytes of their packet

// Nothing unless PATH is a regular file.
std::optional<FileState> StateOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return FileState(status);
}

std::optional<FileState> StateOf(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return std::nullopt;
  return FileState(status);
}

template <typename Data>
std::size_t ValueBytes(const Data& data) {
  std::size_t bytes = 0;
  for (const auto& datum : data) bytes += kDatumOverhead + static_cast<std::size_t>(datum.size());
  return bytes;
}

// The library reads every bitmap as one of Windows: those of OS/2 have numbers of half the width in a shorter
// header, and rows from the top to the bottom are a negative height.
void CorrectBitmapSize(Exiv2::BasicIo& io, ParsedImage& parsed) {
  constexpr int kHeaderLength = 14;  // offsets in the file
  constexpr int kWidth = 18;
  constexpr int kOs2Height = 20;
  constexpr int kRead = 26;
  constexpr std::uint32_t kOs2HeaderLength = 12;
  const Exiv2::IoCloser closer(io);
  std::array<Exiv2::byte, kRead> header{};
  if (io.open() != 0 || io.read(header.data(), kRead) != kRead) return;
  if (Exiv2::getULong(&header[kHeaderLength], Exiv2::littleEndian) == kOs2HeaderLength) {
    parsed.width = Exiv2::getUShort(&header[kWidth], Exiv2::littleEndian);
    parsed.height = Exiv2::getUShort(&header[kOs2Height], Exiv2::littleEndian);
  } else if (parsed.height < -std::numeric_limits<int>::max()) {
    parsed.height = 0;
  } else {
    parsed.height = std::abs(parsed.height);
  }
}

// What the library would make of a file's metadata is more than this process should hold.
struct TooMuch : std::runtime_error {
  using runtime_error::runtime_error;
};

struct Parse {
  Image image;
  std::optional<FileState> state;  // of the file that was read
  std::size_t bytes = 0;           // estimated
  bool repeatable = true;          // the same file would give the same again
};

// An error that says nothing about the file: the process may be out of descriptors for a moment.
bool MayPass(int code) {
  return code == Exiv2::kerDataSourceOpenFailed || code == Exiv2::kerCallFailed;
}

std::atomic<HeifMetadataReader>& TheReader() {
  static std::atomic<HeifMetadataReader> reader = nullptr;
  return reader;
}

// The picture is as good as ever where the library gave up at its colour profile alone. Of a HEIF image the
// reader knows more.
bool IsWellButItsProfile(const Exiv2::Image& image, int code) {
  return TheReader() != nullptr && code == Exiv2::kerInvalidIccProfile &&
         image.imageType() != Exiv2::ImageType::bmff;
}

bool HoldsAnything(const Exiv2::Image& image) {
  return !image.exifData().empty() || !image.iptcData().empty() || !image.xmpData().empty();
}

// Null where even that cannot be read. The image refers to HEAD.
Exiv2::Image::AutoPtr ReadHead(const std::string& head) {
  const auto* bytes = reinterpret_cast<const Exiv2::byte*>(head.data());
  try {
    Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(bytes, static_cast<long>(head.size()));
    image->readMetadata();
    return image;
  } catch (const Exiv2::AnyError&) {
    return Exiv2::Image::AutoPtr();
  }
}

std::size_t MetadataSize(const ParsedImage& image, std::size_t packet) {
  return ValueBytes(image.exif) + ValueBytes(image.iptc) + image.comment.size() + packet * kXmpExpansion;
}

void TakeOver(Exiv2::Image& image, ParsedImage& parsed) {
  parsed.type = image.imageType();
  parsed.mime = image.mimeType();
  // A HEIF image repeats the size that its Exif claims, which outlives resizing, unless it has none; TIFF
  // images take their size and kind from their tags.
  const bool knows_better = parsed.type == Exiv2::ImageType::bmff;
  if (knows_better) parsed.exif = std::move(image.exifData());
  parsed.width = image.pixelWidth();
  parsed.height = image.pixelHeight();
  if (parsed.type == Exiv2::ImageType::bmp) CorrectBitmapSize(image.io(), parsed);
  parsed.comment = image.comment();
  if (!knows_better) parsed.exif = std::move(image.exifData());
  parsed.iptc = std::move(image.iptcData());
  parsed.xmp = std::move(image.xmpData());
  parsed.outcome = ParsedImage::Outcome::kParsed;
}

void Read(const std::string& path, ParsedImage& parsed, Parse& parse) {
  // A state of the process that is made once, with the lock of the first; a program may have made it before.
  [[maybe_unused]] static const bool initialized = Exiv2::XmpParser::initialize();
  const int descriptor = KAVOMediaOpen(path.c_str());
  Exiv2::BasicIo::AutoPtr file = HoldOpened(descriptor, path);
  parse.state = StateOf(descriptor);
  if (const std::uint64_t size = MetadataBytes(descriptor); size > kMostMetadata)
    throw TooMuch(TooMuchMetadata(size));
  std::string head;
  Exiv2::Image::AutoPtr image = OpenImageSafely(file);
  const XmpNamespaces namespaces;
  try {
    image->readMetadata();
  } catch (const Exiv2::AnyError& error) {
    if (!IsWellButItsProfile(*image, error.code())) throw;
    const bool is_jpeg = image->imageType() == Exiv2::ImageType::jpeg;
    if (is_jpeg) head = HeadWithoutProfiles(descriptor);
    Exiv2::Image::AutoPtr rest = is_jpeg ? ReadHead(head) : Exiv2::Image::AutoPtr();
    if (rest.get() == nullptr && !HoldsAnything(*image)) throw;
    if (rest.get() != nullptr) image = rest;
    parsed.error = error.what();
  }
  parsed.xmp_namespaces = namespaces.Added();
  const std::size_t packet = image->xmpData().xmpPacket().size();
  TakeOver(*image, parsed);
  parse.bytes = MetadataSize(parsed, packet);
}

template <typename Step>
bool Succeeds(Step&& step) {
  try {
    return step();
  } catch (const Exiv2::AnyError&) {
    return false;
  }
}

// False when STRUCTURE and PACKET are not all read.
bool Decode(const std::string& structure, const std::string& packet, ParsedImage& found) {
  const XmpNamespaces namespaces;
  const bool exif = Succeeds([&] {
    const auto* bytes = reinterpret_cast<const Exiv2::byte*>(structure.data());
    Exiv2::ExifParser::decode(found.exif, bytes, static_cast<std::uint32_t>(structure.size()));
    return structure.empty() == found.exif.empty();
  });
  const bool xmp = Succeeds([&] { return Exiv2::XmpParser::decode(found.xmp, packet) == 0; });
  found.xmp_namespaces = namespaces.Added();
  return exif && xmp;
}

// Puts what the reader of HEIF tells of the file at PATH into PARSED, which says why the library does not.
void AskReader(const std::string& path, KeptImage& parsed, Parse& parse) {
  const HeifMetadataReader reader = TheReader();
  if (reader == nullptr) return;
  const FileDescriptor file(KAVOMediaOpen(path.c_str()));
  if (!file || StateOf(file.get()) != parse.state) return;
  std::string exif;
  std::string xmp;
  bool whole = reader(file.get(), exif, xmp);
  if (exif.size() + xmp.size() > kMostMetadata) return;
  KeptImage found;
  whole = Decode(exif, xmp, found) && whole;
  if (!whole && found.exif.empty() && found.xmp.empty()) return;
  if (!whole) found.error = parsed.error;
  found.type = Exiv2::ImageType::bmff;
  found.mime = "image/heif";
  found.outcome = ParsedImage::Outcome::kParsed;
  parse.bytes = MetadataSize(found, xmp.size());
  parsed = std::move(found);
}

int CodeOf(const std::exception& error) {
  const auto* said = dynamic_cast<const Exiv2::AnyError*>(&error);
  return said != nullptr ? said->code() : 0;
}

Parse ParseFile(const std::string& path) {
  const Exiv2Scope scope;
  auto parsed = std::make_shared<KeptImage>();
  Parse parse;
  try {
    Read(path, *parsed, parse);
  } catch (const std::bad_alloc&) {
    throw;  // says nothing about the file
  } catch (const std::exception& error) {
    *parsed = KeptImage{};
    parsed->thrown = std::current_exception();
    parsed->outcome = ParsedImage::Outcome::kFailed;
    parsed->error = error.what();
    parsed->too_much = dynamic_cast<const TooMuch*>(&error) != nullptr;
    parsed->unknown_type = CodeOf(error) == Exiv2::kerFileContainsUnknownImageType;
    parse.repeatable = !MayPass(CodeOf(error));
    parse.bytes = parsed->error.size();
  }
  const bool given_up = parsed->outcome == ParsedImage::Outcome::kFailed;
  if (given_up && parse.repeatable && !parsed->too_much) {
    AskReader(path, *parsed, parse);
  }
  parse.image = std::move(parsed);
  return parse;
}

class Cache {
 public:
  Image Get(const std::string& path);
  void SetCount(std::size_t count);

 private:
  struct Entry {
    FileState state;
    Image image;
    std::size_t bytes = 0;

    bool large() const { return bytes > kLarge; }
  };

  Image Find(const FileState& state);
  void Keep(Entry entry);

  std::mutex mutex_;
  std::size_t count_ = kMostKept;
  std::vector<Entry> entries_;  // the last used first
};

Image Cache::Get(const std::string& path) {
  const std::lock_guard lock(mutex_);
  const std::optional<FileState> before = StateOf(path);
  if (!before) return std::make_shared<KeptImage>();
  if (Image kept = Find(*before)) return kept;
  std::erase_if(entries_, [](const Entry& entry) { return entry.large(); });
  Parse parse = ParseFile(path);
  const bool stable =
      parse.repeatable && parse.state == before && !MayChangeUnseen(*before) && StateOf(path) == before;
  if (stable && parse.bytes <= kLargestKept) Keep({*before, parse.image, parse.bytes});
  return parse.image;
}

void Cache::SetCount(std::size_t count) {
  const std::lock_guard lock(mutex_);
  count_ = std::min(count, kMostKept);
  while (entries_.size() > count_) entries_.pop_back();
}

Image Cache::Find(const FileState& state) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.state == state; });
  if (found == entries_.end()) return nullptr;
  std::rotate(entries_.begin(), found, found + 1);
  return entries_.front().image;
}

void Cache::Keep(Entry entry) {
  if (count_ == 0) return;
  entries_.insert(entries_.begin(), std::move(entry));
  std::size_t bytes = 0;
  const auto end = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& kept) {
    return !kept.large() && (bytes += kept.bytes) > kMostBytes;
  });
  entries_.erase(end, entries_.end());
  if (entries_.size() > count_) entries_.pop_back();
}

Cache& TheCache() {
  static Cache cache;
  return cache;
}

}  // namespace

std::shared_ptr<const ParsedImage> GetParsedImage(const std::string& path) {
  return TheCache().Get(path);
}

void SetHeifMetadataReader(HeifMetadataReader reader) {
  TheReader() = reader;
}

void SetImageCacheCount(std::size_t count) {
  TheCache().SetCount(count);
}
