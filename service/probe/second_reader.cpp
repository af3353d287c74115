#include "probe/second_reader.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "probe/big_tiff.h"
#include "probe/boxes.h"
#include "probe/heif_picture.h"
#include "probe/jxl_picture.h"
#include "probe/raw_header.h"

namespace {

constexpr std::size_t kStart = 16;
constexpr std::size_t kLength = 4;  // bytes of the length, and of the kind, of a box

// The first bytes of the file, as many as tell its kind; fewer where it has no more.
std::string StartOf(int descriptor) {
  std::string start(kStart, '\0');
  const ssize_t count = pread(descriptor, start.data(), start.size(), 0);
  start.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return start;
}

// The kind of the first box of a file that begins with START; "" where it has none.
std::string_view FirstBox(std::string_view start) {
  return start.size() < 2 * kLength ? std::string_view() : start.substr(kLength, kLength);
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
  const std::string start = StartOf(descriptor);
  const std::string_view kind = FirstBox(start);
  if (kind != "ftyp" && kind != "JXL ") return true;
  const std::vector<Box> data = DataBoxes(descriptor);
  return !data.empty() && std::all_of(data.begin(), data.end(), [](const Box& box) { return box.whole; });
}

std::optional<SecondReading> ReadWithSecondReader(int descriptor) {
  const std::string start = StartOf(descriptor);
  if (FirstBox(start) == "ftyp") return ReadHeif(descriptor);
  if (IsJxl(start)) return OfSize(JxlSize(descriptor));
  if (IsBigTiff(start)) return OfSize(BigTiffSize(descriptor));
  if (start.starts_with("FUJIFILM")) return OfSize(RafSize(descriptor));
  if (start.starts_with("FOVb")) return OfSize(X3fSize(descriptor));
  return std::nullopt;
}
