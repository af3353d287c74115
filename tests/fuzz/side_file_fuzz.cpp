// Side files of any bytes: what is read of one is its first line, up to the first NUL and within the bound,
// and the file is used up; a position is a text that a database takes.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "base/limits.h"
#include "fuzz/fuzz_input.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_database/position.h"
#include "photo_util/photo_dir.h"
#include "platform/text.h"
#include "support/fake_platform.h"
#include "support/temp_dir.h"

namespace {

// A shared tree with one photo.
class Tree {
 public:
  Tree() {
    FakePlatform::Reset();
    const std::string shared = FakePlatform::Get().AddSharedLibrary(dir_.path());
    photo_ = shared + "/a.jpg";
    WriteFile(photo_, "");
    for (const char* item : {"KAVOPHOTO_TITLE", "KAVOPHOTO_GPS"}) WriteFile(SideFile(item), "");
    ResetPhotoDirForTest();
    FakePlatform::Get().beneath_open = [this](const char*) { return MemoryFile(content_).Release(); };
  }

  const char* photo() const { return photo_.c_str(); }
  std::string SideFile(const char* item) const {
    return std::filesystem::path(photo_).parent_path() / "@eaDir/a.jpg" / item;
  }
  void Put(const std::string& content) {
    content_ = content;
    FakePlatform::Get().calls.clear();
    for (const char* item : {"KAVOPHOTO_TITLE", "KAVOPHOTO_GPS"}) {
      if (!std::filesystem::exists(SideFile(item))) WriteFile(SideFile(item), "");
    }
  }

 private:
  TempDir dir_;
  std::string photo_;
  std::string content_;
};

// The line as it stands in a buffer of SIZE bytes.
std::string FirstLine(const std::string& content, std::size_t size) {
  std::string line = content.substr(0, std::min(content.find('\n'), content.size() - 1) + 1);
  if (content.empty()) line.clear();
  line.resize(std::min(line.size(), size - 1));
  return line.c_str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Tree tree;
  const std::string content = TextOf(data, size);
  tree.Put(content);
  Require(HGAStatusCheck(tree.photo()) == 0, "no request");
  char line[kNameSize];
  std::memset(line, 'x', sizeof line);
  const int result = GetFileContentInEA(tree.photo(), "KAVOPHOTO_TITLE", line, sizeof line);
  const std::string expected = FirstLine(content, sizeof line);
  Require(std::memchr(line, '\0', sizeof line) != nullptr && expected == line, "not the first line", content);
  Require((result == 0) == (!expected.empty() && expected != "\n" && expected[0] != '\n'), "another answer");
  Require(!std::filesystem::exists(tree.SideFile("KAVOPHOTO_TITLE")), "it is not used up");
  const auto position = PhotoGPSInfoGet(tree.photo(), PositionMode::kPhoto);
  Require(position && position->gps.size() < kGpsSize && RLIBCUnicodeIsUTF8(position->gps.c_str()) != 0,
          "no text for a column", content);
  return 0;
}
