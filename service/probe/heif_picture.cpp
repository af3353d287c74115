#include "probe/heif_picture.h"

#include <libheif/heif.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "probe/boxes.h"
#include "probe/file_bytes.h"

namespace {

// The bytes of one descriptor for the library, which is not given a name.
class Source {
 public:
  // A file that breaks off within its picture counts as CLAIMED bytes long, else the library would not look
  // at it.
  Source(int descriptor, off_t claimed)
      : descriptor_(descriptor), real_(SizeOfFile(descriptor)), claimed_(claimed) {}

  static heif_reader Functions() {
    heif_reader functions{};
    functions.reader_api_version = 1;
    functions.get_position = [](void* self) { return static_cast<Source*>(self)->position_; };
    functions.read = [](void* data, size_t size, void* self) {
      static_cast<Source*>(self)->Read(data, size);
      return 0;
    };
    functions.seek = [](int64_t position, void* self) {
      static_cast<Source*>(self)->position_ = position;
      return 0;
    };
    functions.wait_for_file_size = [](int64_t size, void* self) {
      return static_cast<Source*>(self)->CountsAsThere(size) ? heif_reader_grow_status_size_reached
                                                             : heif_reader_grow_status_size_beyond_eof;
    };
    return functions;
  }

 private:
  // Whether the library may ask for bytes up to END. A file of some bytes must not make it hold gigabytes of
  // what is not there, item by item.
  bool CountsAsThere(std::int64_t end) {
    constexpr std::int64_t kMostInvented = 65536;
    constexpr std::int64_t kFarthest = std::int64_t{16} << 20;
    if (end <= real_) return true;
    // Asked once for the box with the pictures, which is passed over.
    if (end == claimed_ && !std::exchange(passed_over_, true)) return true;
    return end <= claimed_ && end - real_ <= kFarthest && invented_ <= kMostInvented;
  }
  // What is missing at the end is zeros: the library does not survive a read that fails.
  void Read(void* data, std::size_t size) {
    const std::span bytes(static_cast<std::uint8_t*>(data), size);
    const ssize_t count = pread(descriptor_, data, size, position_);
    const auto missing = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    std::ranges::fill(missing, 0);
    invented_ += static_cast<std::int64_t>(missing.size());
    position_ += static_cast<std::int64_t>(size);
  }

  int descriptor_;
  std::int64_t position_ = 0;
  std::int64_t real_;  // size
  std::int64_t claimed_;
  std::int64_t invented_ = 0;  // bytes of zeros
  bool passed_over_ = false;
};

using Context = std::unique_ptr<heif_context, decltype(&heif_context_free)>;
using Handle = std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)>;

Handle PrimaryPicture(heif_context* context) {
  heif_image_handle* handle = nullptr;
  if (heif_context_get_primary_image_handle(context, &handle).code != heif_error_Ok) handle = nullptr;
  return {handle, heif_image_handle_release};
}

// The metadata of the picture with this kind and, for XMP, content type; "" when it has none, nothing when it
// cannot be read.
std::optional<std::string> Metadata(const heif_image_handle* picture, const char* kind,
                                    const std::string& content_type) {
  constexpr int kMost = 16;
  std::array<heif_item_id, kMost> ids{};
  const int count = heif_image_handle_get_list_of_metadata_block_IDs(picture, kind, ids.data(), kMost);
  bool lost = false;
  for (int i = 0; i < count; ++i) {
    const heif_item_id id = ids.at(static_cast<std::size_t>(i));
    if (heif_image_handle_get_metadata_content_type(picture, id) != content_type) continue;
    std::string block(heif_image_handle_get_metadata_size(picture, id), '\0');
    if (heif_image_handle_get_metadata(picture, id, block.data()).code == heif_error_Ok) return block;
    lost = true;
  }
  return lost ? std::nullopt : std::optional<std::string>("");
}

// Gives the primary picture of the file to SEE. False when there is none.
template <typename See>
bool SeePicture(int descriptor, See&& see) {
  static const heif_reader kFunctions = Source::Functions();
  const std::vector<Box> boxes = BoxesOf(descriptor);
  const auto header =
      std::find_if(boxes.begin(), boxes.end(), [](const Box& box) { return box.kind == "meta"; });
  if (header == boxes.end() || !header->whole) return false;
  Source source(descriptor, boxes.back().end);
  const Context context(heif_context_alloc(), heif_context_free);
  if (heif_context_read_from_reader(context.get(), &kFunctions, &source, nullptr).code != heif_error_Ok)
    return false;
  const Handle picture = PrimaryPicture(context.get());
  if (picture == nullptr) return false;
  see(picture.get());
  return true;
}

}  // namespace

std::optional<SecondReading> ReadHeif(int descriptor) {
  SecondReading reading;
  reading.tells_more = true;
  SeePicture(descriptor, [&](const heif_image_handle* picture) {
    reading.size = {heif_image_handle_get_width(picture), heif_image_handle_get_height(picture)};
  });
  return reading.size.width > 0 && reading.size.height > 0 ? std::optional(reading) : std::nullopt;
}

bool ReadHeifMetadata(int descriptor, std::string& exif, std::string& xmp) {
  bool whole = true;
  const bool seen = SeePicture(descriptor, [&](const heif_image_handle* picture) {
    const auto structure = Metadata(picture, "Exif", "");
    const auto packet = Metadata(picture, "mime", "application/rdf+xml");
    exif = WithoutExifOffset(structure.value_or(""));
    xmp = packet.value_or("");
    whole = structure && packet && structure->empty() == exif.empty();
  });
  return seen && whole;
}
