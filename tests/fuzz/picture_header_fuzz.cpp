// The beginnings of files of any bytes, as we read them ourselves: boxes lie in their order, sizes are those
// of pictures, the head of a JPEG is one, and a time is a time.
#include <cstdint>
#include <limits>
#include <string>

#include "fuzz/fuzz_input.h"
#include "probe/boxes.h"
#include "probe/container_time.h"
#include "probe/jpeg_end.h"
#include "probe/jxl_picture.h"
#include "probe/raw_header.h"
#include "process/jpeg_head.h"
#include "process/metadata_size.h"

namespace {

void CheckBoxes(int file, off_t size) {
  constexpr std::size_t kMostBoxes = 4096;
  const auto boxes = BoxesOf(file);
  Require(boxes.size() <= kMostBoxes, "too many boxes");
  off_t from = 0;
  for (const Box& box : boxes) {
    Require(box.content >= from && box.content <= box.end, "a box out of its place", box.kind);
    Require(box.whole == (box.end <= size), "a box that is cut", box.kind);
    Require(BoxesIn(file, box, 0).size() <= kMostBoxes, "too many boxes");
    Require(BoxesIn(file, box, 4).size() <= kMostBoxes, "too many boxes");
    from = box.end;
  }
}

void CheckSize(const std::optional<PictureSize>& size) {
  Require(!size || (size->width > 0 && size->height > 0), "a picture without a size");
}

void CheckJpeg(int file, const std::string& content) {
  const std::string head = HeadWithoutProfiles(file);
  Require(head.starts_with("\xFF\xD8") && head.ends_with("\xFF\xD9"), "no JPEG");
  Require(head.size() <= content.size() + 4 || content.empty(), "a head that is longer");
  const FileDescriptor of_head = MemoryFile(head);
  // The end belongs to the last segment where the file breaks off within that.
  const std::string again = HeadWithoutProfiles(of_head.get());
  Require(again.size() <= head.size() + 2 && again.starts_with(head.substr(0, head.size() - 2)),
          "another head of the head");
  const FileDescriptor ended = MemoryFile(content + "\xFF\xD9");
  Require(JpegIsComplete(ended.get()), "it ends, and is not complete");
  static_cast<void>(JpegIsComplete(file));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content = TextOf(data, size);
  const FileDescriptor file = MemoryFile(content);
  CheckBoxes(file.get(), static_cast<off_t>(size));
  CheckSize(JxlSize(file.get()));
  CheckSize(RafSize(file.get()));
  CheckSize(X3fSize(file.get()));
  CheckJpeg(file.get(), content);
  static_cast<void>(MetadataBytes(file.get()));
  if (const auto time = ContainerTime(file.get())) {
    const auto again = TimeIn(time->text);
    Require(again && again->text == time->text && again->kind == TimeKind::kMoment, "no time", time->text);
  }
  Require(WithoutExifOffset(content).size() <= content.size(), "a longer block");
  return 0;
}
