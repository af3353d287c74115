// The queue of background jobs, whatever it holds and whatever a photo is called: a job adds one line at the
// end and leaves the rest, or nothing at all.
#include <json/value.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/request_context.h"
#include "support/fake_platform.h"
#include "support/temp_dir.h"

namespace {

bool personal = false;

}  // namespace

// The request, which is not tried here.
int HGAStatusCheck(const char* path) {
  return path != nullptr && *path == '/' ? 0 : -1;
}
int HGAStatusIsHGARequest() {
  return personal ? 1 : 0;
}
const char* HGAStatusUserNameGet() {
  return "alice";
}
const char* HGAStatusPhotoDirGet() {
  return "";
}
bool PhotoInfoDBFaceRecognitionEnableGet() {
  return true;
}

namespace {

struct Queue {
  Queue() {
    FakePlatform::Reset();
    FakePlatform::Get().root = dir / "root";
    file = FakePlatform::Get().root + "/var/services/photo/@eaDir/kavophoto_face.queue";
    WriteFile(file, "");
  }
  TempDir dir;
  std::string file;
};

void CheckAdded(const std::string& before, const std::string& after, int result, std::string_view mark,
                const std::string& path) {
  // What stands above the folder "photo" is no part of a job.
  const bool plain = path.starts_with('/') && path.find('\n') == std::string::npos;
  Require(result == 0 || !plain, "a job is refused", path);
  if (result != 0) return Require(after == before, "the queue changed", after);
  const std::string ended = before + (before.empty() || before.ends_with('\n') ? "" : "\n");
  Require(after.starts_with(ended), "a job is lost", after);
  const std::string line = after.substr(ended.size());
  Require(std::count(line.begin(), line.end(), '\n') == 1 && line.ends_with('\n'), "not one line", line);
  Require(line.starts_with(mark) && path.ends_with(line.substr(mark.size(), line.size() - mark.size() - 1)),
          "another job", line);
}

}  // namespace

// A path, and what is in the queue.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Queue queue;
  const std::string input = TextOf(data, size);
  std::string_view rest = input;
  const std::string path = TakePart(rest);
  const std::string before(rest);
  FakePlatform::Get().calls.clear();
  for (const bool is_personal : {false, true}) {
    personal = is_personal;
    WriteFile(queue.file, before);
    Json::Value info;
    info["szPath"] = path;
    const int watermark = IndexWatermarkQueueAdd(info);
    CheckAdded(before, ReadFile(queue.file), watermark, personal ? "u:alice/" : "w:", path);
    WriteFile(queue.file, before);
    const int face = IndexFaceRecognitionQueueAdd(path.c_str());
    if (path.starts_with('/')) CheckAdded(before, ReadFile(queue.file), face, "F:", path);
  }
  return 0;
}
