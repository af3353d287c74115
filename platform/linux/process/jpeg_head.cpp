#include "process/jpeg_head.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "process/metadata_size.h"

namespace {

constexpr std::size_t kMarkerSize = 2;
constexpr std::size_t kLengthSize = 2;
constexpr unsigned kByteBits = 8;
constexpr std::string_view kStart = "\xFF\xD8";
constexpr std::string_view kStartOfScan = "\xFF\xDA";
constexpr std::string_view kEnd = "\xFF\xD9";
constexpr std::string_view kProfileSegment = "\xFF\xE2";
constexpr std::string_view kProfile = "ICC_PROFILE";

// The COUNT bytes of the file at OFFSET, fewer at its end.
std::string BytesAt(int descriptor, std::size_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  const ssize_t got = pread(descriptor, bytes.data(), count, static_cast<off_t>(offset));
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return bytes;
}

// The segment at OFFSET with its marker; "" where there is none any more.
std::string SegmentAt(int descriptor, std::size_t offset) {
  const std::string head = BytesAt(descriptor, offset, kMarkerSize + kLengthSize);
  if (head.size() < kMarkerSize + kLengthSize || head.front() != kEnd.front()) return "";
  if (head.starts_with(kStartOfScan) || head.starts_with(kEnd)) return "";
  const std::size_t length = static_cast<unsigned char>(head[kMarkerSize]) << kByteBits |
                             static_cast<unsigned char>(head[kMarkerSize + 1]);
  return BytesAt(descriptor, offset, kMarkerSize + std::max(length, kLengthSize));
}

bool IsProfile(std::string_view segment) {
  return segment.starts_with(kProfileSegment) &&
         segment.substr(kMarkerSize + kLengthSize).starts_with(kProfile);
}

}  // namespace

std::string HeadWithoutProfiles(int descriptor) {
  std::string head(kStart);
  std::size_t offset = head.size();
  while (head.size() <= kMostMetadata) {
    const std::string segment = SegmentAt(descriptor, offset);
    if (segment.size() < kMarkerSize + kLengthSize) break;
    offset += segment.size();
    if (!IsProfile(segment)) head += segment;
  }
  return head.append(kEnd);
}
