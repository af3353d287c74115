#include "probe/second_reader.h"

#include <algorithm>
#include <string>
#include <vector>

#include "probe/big_tiff.h"
#include "probe/boxes.h"
#include "probe/file_bytes.h"
#include "probe/heif_picture.h"
#include "probe/jxl_picture.h"
#include "probe/raw_header.h"

namespace {

constexpr std::size_t kStart = 16;
constexpr std::size_t kLength = 4;  // bytes of the length, and of the kind, of a box

// The first bytes of the file, as many as tell its kind; zeros where it has fewer.
std::string StartOf(int descriptor) {
  const auto bytes = BytesAt<kStart>(descriptor, 0);
  return bytes ? std::string(bytes->begin(), bytes->end()) : std::string(kStart, '\0');
}

std::optional<SecondReading> OfSize(std::optional<PictureSize> size) {
  if (!size) return std::nullopt;
  SecondReading reading;
  reading.size = *size;
  return reading;
}

bool IsData(const Box& box) {
  return box.kind == "mdat" || box.kind == "idat" || box.kind == "jxlc" || box.kind == "jxlp";
}

// The boxes with the data of pictures: those of the file, and one inside of the header if there is little of
// it.
std::vector<Box> DataBoxes(int descriptor) {
  constexpr off_t kVersion = 4;
  std::vector<Box> boxes = BoxesOf(descriptor);
  const auto header =
      std::find_if(boxes.begin(), boxes.end(), [](const Box& box) { return box.kind == "meta"; });
  if (header != boxes.end()) {
    const std::vector<Box> inside = BoxesIn(descriptor, *header, kVersion);
    boxes.insert(boxes.end(), inside.begin(), inside.end());
  }
  std::erase_if(boxes, [](const Box& box) { return !IsData(box); });
  return boxes;
}

}  // namespace

bool IsJxlFile(int descriptor) {
  return IsJxl(StartOf(descriptor));
}

bool EndsBehindPicture(int descriptor) {
  const std::string kind = StartOf(descriptor).substr(kLength, kLength);
  if (kind != "ftyp" && kind != "JXL ") return true;
  const std::vector<Box> data = DataBoxes(descriptor);
  return !data.empty() && std::all_of(data.begin(), data.end(), [](const Box& box) { return box.whole; });
}

std::optional<SecondReading> ReadAgain(int descriptor, bool metadata) {
  const std::string start = StartOf(descriptor);
  if (start.substr(kLength, kLength) == "ftyp") return ReadHeif(descriptor, metadata);
  if (IsJxl(start)) return OfSize(JxlSize(descriptor));
  if (IsBigTiff(start)) return OfSize(BigTiffSize(descriptor));
  if (start.starts_with("FUJIFILM")) return OfSize(RafSize(descriptor));
  if (start.starts_with("FOVb")) return OfSize(X3fSize(descriptor));
  return std::nullopt;
}
