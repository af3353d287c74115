#ifndef PLATFORM_LINUX_PROCESS_METADATA_SIZE_H_
#define PLATFORM_LINUX_PROCESS_METADATA_SIZE_H_

#include <cstdint>
#include <string>

// Bytes of metadata in one file beyond which it is not read: what the library makes of them takes fifteen
// times as much memory, and seconds. Photos with a map of depths in their metadata have some 10 MiB.
inline constexpr std::uint64_t kMostMetadata = std::uint64_t{16} << 20;

// How many bytes of metadata the image that is open as DESCRIPTOR says that it has, counted in the segments,
// chunks or tags of JPEG, PNG, WebP and what is built like TIFF; 0 for other content. Reads no metadata
// itself, and no further than is needed to see that there is too much.
[[nodiscard]] std::uint64_t MetadataBytes(int descriptor);

// Why a file with BYTES of it is not read.
std::string TooMuchMetadata(std::uint64_t bytes);

#endif  // PLATFORM_LINUX_PROCESS_METADATA_SIZE_H_
