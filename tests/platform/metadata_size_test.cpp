// What images say about the amount of their metadata, before anything of it is read.
#include "process/metadata_size.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "base/file_descriptor.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kLarge = 50U << 20;

std::string Number(std::uint32_t number, int bytes, bool big_endian) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    const int shift = 8 * (big_endian ? bytes - 1 - i : i);
    text += static_cast<char>(number >> shift);
  }
  return text;
}

class MetadataSizeTest : public testing::Test {
 protected:
  // Of a file that holds CONTENT and then SIZE bytes of nothing, and TAIL.
  std::uint64_t Of(const std::string& content, std::uint32_t size = 0, const std::string& tail = "") const {
    const fs::path file = dir_.path() / "file";
    WriteFile(file, content);
    fs::resize_file(file, content.size() + size);
    std::ofstream(file, std::ios::app | std::ios::binary) << tail;
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return MetadataBytes(opened.get());
  }
  static std::string Segment(unsigned marker, std::uint32_t length) {
    return "\xFF" + Number(marker, 1, true) + Number(length, 2, true) + std::string(length - 2, 'x');
  }
  static std::string PngChunk(const std::string& name, std::uint32_t length) {
    return Number(length, 4, true) + name;
  }
  static std::string Tiff(bool big_endian, std::uint32_t tag, std::uint32_t type, std::uint32_t count) {
    return std::string(big_endian ? "MM" : "II") + Number(42, 2, big_endian) + Number(8, 4, big_endian) +
           Number(1, 2, big_endian) + Number(tag, 2, big_endian) + Number(type, 2, big_endian) +
           Number(count, 4, big_endian) + Number(0, 4, big_endian);
  }

  TempDir dir_;
  const std::string jpeg_ = "\xFF\xD8";
  const std::string png_ = "\x89PNG\r\n\x1A\n";
};

TEST_F(MetadataSizeTest, SegmentsOfAJpegAreSummed) {
  EXPECT_EQ(Of(jpeg_ + Segment(0xE1, 100) + Segment(0xED, 20) + Segment(0xFE, 3) + Segment(0xDA, 50)), 123U);
}

TEST_F(MetadataSizeTest, OtherSegmentsOfAJpegDoNotCount) {
  EXPECT_EQ(Of(jpeg_ + Segment(0xE0, 100) + Segment(0xE2, 200) + Segment(0xE1, 5)), 5U);
}

TEST_F(MetadataSizeTest, NothingCountsBehindTheStartOfThePicture) {
  EXPECT_EQ(Of(jpeg_ + Segment(0xDA, 50) + Segment(0xE1, 100)), 0U);
}

TEST_F(MetadataSizeTest, TextChunksOfAPngCount) {
  for (const std::string name : {"tEXt", "zTXt", "iTXt", "eXIf"})
    EXPECT_EQ(Of(png_ + PngChunk(name, kLarge), kLarge + 4), kLarge) << name;
  EXPECT_EQ(Of(png_ + PngChunk("IDAT", 100), 100 + 4, PngChunk("tEXt", 7)), 7U);
}

TEST_F(MetadataSizeTest, ChunksOfAWebPCount) {
  const std::string start = "RIFF" + Number(kLarge, 4, false) + "WEBP";
  EXPECT_EQ(Of(start + "XMP " + Number(kLarge, 4, false), kLarge), kLarge);
  EXPECT_EQ(Of(start + "VP8 " + Number(101, 4, false), 102, "EXIF" + Number(9, 4, false)), 9U);
}

TEST_F(MetadataSizeTest, TagsOfATiffCount) {
  for (const bool big_endian : {false, true}) {
    EXPECT_EQ(Of(Tiff(big_endian, 700, 1, kLarge)), kLarge);
    EXPECT_EQ(Of(Tiff(big_endian, 33723, 4, 10)), 40U);
    EXPECT_EQ(Of(Tiff(big_endian, 330, 4, 10)), 0U);
  }
}

TEST_F(MetadataSizeTest, EveryCutEndsTheCount) {
  const std::string whole = jpeg_ + Segment(0xE1, 10) + Segment(0xED, 10);
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_LE(Of(whole.substr(0, length)), 20U) << length;
  const std::string tiff = Tiff(false, 700, 1, 5);
  for (std::size_t length = 0; length < tiff.size(); ++length)
    EXPECT_LE(Of(tiff.substr(0, length)), 5U) << length;
}

TEST_F(MetadataSizeTest, OtherContentHasNone) {
  EXPECT_EQ(Of("GIF89a" + std::string(100, 'x')), 0U);
  EXPECT_EQ(Of(""), 0U);
}

TEST(TooMuchMetadata, SaysHowMuch) {
  EXPECT_EQ(TooMuchMetadata(kLarge), "its metadata is too large to be read: 50 MiB, at most 16");
  EXPECT_EQ(TooMuchMetadata(kMostMetadata + 1),
            "its metadata is too large to be read: more than 16 MiB, at most 16");
}

}  // namespace
