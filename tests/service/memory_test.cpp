// What one file may cost a worker: of its metadata, of its memory.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "support/media_maker.h"
#include "support/service_test.h"
#include "work/out_of_memory.h"

namespace fs = std::filesystem;

namespace {

// The tests themselves may be built without what the worker is built with.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(LUMIVAULT_SANITIZED_WORKER)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
constexpr std::uint32_t kMegabyte = 1U << 20;
constexpr std::uint32_t kByte = 1;  // types of TIFF
constexpr std::uint32_t kDouble = 12;

void Append(std::string& out, std::uint32_t number, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(number >> (8 * i));
}

struct Entry {
  std::uint32_t tag, type, count, value;
};

// A TIFF of 8 x 8 pixels with one more tag of BYTES, which are a hole in the file, as its picture is. Exiv2
// skips tags of 2^28 values and more: what is larger has to be of a larger TYPE.
void MakeSparseTiff(const fs::path& path, std::uint32_t tag, std::uint32_t bytes,
                    std::uint32_t type = kByte) {
  constexpr std::uint32_t kData = 4096;
  const std::vector<Entry> entries{{256, 3, 1, 8},  {257, 3, 1, 8},
                                   {258, 3, 1, 8},  {259, 3, 1, 1},
                                   {262, 3, 1, 1},  {273, 4, 1, kData},
                                   {277, 3, 1, 1},  {278, 3, 1, 8},
                                   {279, 4, 1, 64}, {tag, type, type == kDouble ? bytes / 8 : bytes, kData}};
  std::string head = "II*";
  Append(head, 0, 1);
  Append(head, 8, 4);
  Append(head, static_cast<std::uint32_t>(entries.size()), 2);
  for (const Entry& entry : entries) {
    Append(head, entry.tag, 2);
    Append(head, entry.type, 2);
    Append(head, entry.count, 4);
    Append(head, entry.value, 4);
  }
  Append(head, 0, 4);
  WriteFile(path, head);
  fs::resize_file(path, kData + std::uintmax_t{std::max(bytes, kMegabyte)});
}

class MemoryTest : public ServiceTest {
 protected:
  void SetUp() override {
    fs::create_directories(folder());
    MakeJpeg(File("a.jpg"), 8, 6);
    MakeJpeg(File("z.jpg"), 8, 6);
  }

  // The KiB that the worker may have where it stores the photo a, run as an ordinary user behind FIRST in a
  // shell.
  std::string ToldLimits(const std::string& first = "") {
    fs::remove(File("z.jpg"));
    const fs::path told = scratch() / "told";
    UsePreviewTool("ulimit -v >" + told.string());
    WriteFile(told, "");
    EXPECT_TRUE(BecomeNobody());
    const std::optional<uid_t> user = geteuid() == 0 ? std::optional<uid_t>(kNobody) : std::nullopt;
    const RunResult result = ProgramRun({"-c", first + "exec \"$@\"", "sh", LUMIVAULT_PROGRAM, "index",
                                         "--quiet", folder(), "--root=" + state().string()},
                                        scratch() / "shell", {}, user, "/bin/sh")
                                 .Wait();
    EXPECT_NE(result.err.find("lumivault: "), 0U) << result.err;
    return ReadFile(told);
  }

  // A JPEG with SEGMENTS segments of 65,000 bytes in which XMP is continued.
  void MakeLargeJpeg(const std::string& name, int segments) const {
    constexpr std::uint32_t kLength = 65'002;
    const std::string plain = ReadFile(File("a.jpg"));
    std::string segment = "\xFF\xE1";
    segment += static_cast<char>(kLength >> 8);
    segment += static_cast<char>(kLength & 0xFF);
    segment += "http://ns.adobe.com/xmp/extension/";
    segment.resize(kLength + 2, 'x');
    std::string content = plain.substr(0, 2);
    for (int i = 0; i < segments; ++i) content += segment;
    WriteFile(File(name), content + plain.substr(2));
  }
};

TEST_F(MemoryTest, FiftyMegabytesOfXmpAreRefusedAtOnce) {
  MakeLargeJpeg("large.jpg", 807);
  const auto start = std::chrono::steady_clock::now();
  const Json::Value report = Index({"-j", "1"});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)) << "the whole run";
  EXPECT_EQ(report["notes"][0]["reason"].asString(),
            "its metadata is too large to be read: more than 16 MiB, at most 16");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "3") << "its size is known all the same";
}

TEST_F(MemoryTest, TenMegabytesOfXmpAreNot) {
  MakeLargeJpeg("large.jpg", 160);
  EXPECT_EQ(Index()["added"].asInt(), 3);
}

TEST_F(MemoryTest, LargeXmpOfATiffIsRefused) {
  MakeSparseTiff(File("xmp.tif"), 700, 50 * kMegabyte);
  EXPECT_EQ(Index()["notes"][0]["reason"].asString(),
            "its metadata is too large to be read: 50 MiB, at most 16");
}

TEST_F(MemoryTest, FileThatReachesTheLimitCostsThatFileAlone) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers take terabytes";
  MakeSparseTiff(File("bomb.tif"), 50'000, 1200 * kMegabyte, kDouble);
  const Json::Value report = Index({"-j", "1"}, 3);
  EXPECT_EQ(report["added"].asInt(), 2);
  EXPECT_EQ(FailureOf(report, "bomb.tif"),
            "reading it takes more memory than a worker may use (--worker-memory)");
  EXPECT_EQ(Value("SELECT count(*) FROM photo_image"), "2");
}

TEST_F(MemoryTest, LargePictureIsNoLargeMemory) {
  MakeSparseTiff(File("large.tif"), 50'000, 4);
  fs::resize_file(File("large.tif"), std::uintmax_t{1500} * kMegabyte);
  EXPECT_EQ(Index()["added"].asInt(), 3);
}

TEST_F(MemoryTest, LimitIsOfTheSettingsAndOfTheOption) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers take terabytes";
  Index();
  const fs::path settings = state() / "var/packages/Lumivault/etc/settings.conf";
  WriteFile(settings, ReadFile(settings) + "worker_memory=\"260\"\n");
  EXPECT_EQ(Run({"doctor", folder()}).out, "all is well\nmemory of a worker: 260 MiB at most\n");
  MakeSparseTiff(File("b.tif"), 50'000, 80 * kMegabyte);
  EXPECT_EQ(FailureOf(Index({}, 3), "b.tif"), kOutOfMemoryWords);
  fs::last_write_time(File("b.tif"), fs::file_time_type::clock::now());
  EXPECT_EQ(Index({"--worker-memory=0"})["added"].asInt(), 1);
}

// A hole costs nothing on the disk, and this reader maps nothing.
TEST_F(MemoryTest, HoleInAFileThatIsNotMappedBuysNone) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers take terabytes";
  fs::resize_file(File("a.jpg"), std::uintmax_t{6000} * kMegabyte);
  EXPECT_EQ(ToldLimits(), "524288\n");
}

// But a picture of a kind that it does map has the room for that, and no more.
TEST_F(MemoryTest, FileThatIsMappedHasItsOwnSizeBeside) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers take terabytes";
  fs::remove(File("a.jpg"));
  MakeSparseTiff(File("a.tif"), 50'000, 4);
  fs::resize_file(File("a.tif"), std::uintmax_t{100} * kMegabyte);
  EXPECT_EQ(ToldLimits(), std::to_string(612 * 1024) + "\n");
}

TEST_F(MemoryTest, HardLimitOfWhoeverStartsTheRunStaysAndKeepsTheLimitInForce) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers take terabytes";
  EXPECT_EQ(ToldLimits("ulimit -v 3145728; "), "524288\n");
  fs::last_write_time(File("a.jpg"), fs::file_time_type::clock::now());
  EXPECT_EQ(ToldLimits("ulimit -v 409600; "), "409600\n") << "where it is lower";
}

TEST_F(MemoryTest, SettingThatIsNoNumberIsRefused) {
  Index();
  const fs::path settings = state() / "var/packages/Lumivault/etc/settings.conf";
  WriteFile(settings, ReadFile(settings) + "worker_memory=\"much\"\n");
  const RunResult result = Run({"index", folder()});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + settings.string() +
                            ": worker_memory is not 0 and no number of MiB from 256 to 1048576\n");
}

TEST_F(MemoryTest, OptionBelowWhatAWorkerNeedsIsRefused) {
  EXPECT_EQ(Run({"index", folder(), "--worker-memory=100"}).status, 2);
}

}  // namespace
