#include "probe/heif_picture.h"

#include <libheif/heif.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "probe/boxes.h"

namespace {

// The bytes of one descriptor for the library, which is not given a name.
class Source {
 public:
  // A file that breaks off within its picture counts as SIZE bytes long, else the library would not look at
  // it.
  Source(int descriptor, off_t size) : descriptor_(descriptor), size_(size) {}

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
      return size > static_cast<Source*>(self)->size_ ? heif_reader_grow_status_size_beyond_eof
                                                      : heif_reader_grow_status_size_reached;
    };
    return functions;
  }

 private:
  // What is missing at the end is zeros: the library does not survive a read that fails.
  void Read(void* data, std::size_t size) {
    const std::span bytes(static_cast<std::uint8_t*>(data), size);
    const ssize_t count = pread(descriptor_, data, size, position_);
    std::ranges::fill(bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0))), 0);
    position_ += static_cast<std::int64_t>(size);
  }

  int descriptor_;
  std::int64_t position_ = 0;
  std::int64_t size_;
};

using Context = std::unique_ptr<heif_context, decltype(&heif_context_free)>;
using Handle = std::unique_ptr<heif_image_handle, decltype(&heif_image_handle_release)>;

Handle PrimaryPicture(heif_context* context) {
  heif_image_handle* handle = nullptr;
  if (heif_context_get_primary_image_handle(context, &handle).code != heif_error_Ok) handle = nullptr;
  return {handle, heif_image_handle_release};
}

// The metadata of the picture with this kind and, for XMP, content type; "" when it has none.
std::string Metadata(const heif_image_handle* picture, const char* kind, const std::string& content_type) {
  constexpr int kMost = 16;
  std::array<heif_item_id, kMost> ids{};
  const int count = heif_image_handle_get_list_of_metadata_block_IDs(picture, kind, ids.data(), kMost);
  for (int i = 0; i < count; ++i) {
    const heif_item_id id = ids.at(static_cast<std::size_t>(i));
    if (heif_image_handle_get_metadata_content_type(picture, id) != content_type) continue;
    std::string block(heif_image_handle_get_metadata_size(picture, id), '\0');
    if (heif_image_handle_get_metadata(picture, id, block.data()).code == heif_error_Ok) return block;
  }
  return "";
}

}  // namespace

std::optional<SecondReading> ReadHeif(int descriptor, bool metadata) {
  static const heif_reader kFunctions = Source::Functions();
  const std::vector<Box> boxes = BoxesOf(descriptor);
  const auto header =
      std::find_if(boxes.begin(), boxes.end(), [](const Box& box) { return box.kind == "meta"; });
  if (header == boxes.end() || !header->whole) return std::nullopt;
  Source source(descriptor, boxes.back().end);
  const Context context(heif_context_alloc(), heif_context_free);
  if (heif_context_read_from_reader(context.get(), &kFunctions, &source, nullptr).code != heif_error_Ok)
    return std::nullopt;
  const Handle picture = PrimaryPicture(context.get());
  if (picture == nullptr) return std::nullopt;
  SecondReading reading;
  reading.size = {heif_image_handle_get_width(picture.get()), heif_image_handle_get_height(picture.get())};
  if (reading.size.width <= 0 || reading.size.height <= 0) return std::nullopt;
  if (!metadata) return reading;
  reading.exif = WithoutExifOffset(Metadata(picture.get(), "Exif", ""));
  reading.xmp = Metadata(picture.get(), "mime", "application/rdf+xml");
  return reading;
}
