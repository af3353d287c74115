// Jobs for the package's background worker: one line each at the end of a queue file that all writers share.

#include <json/value.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/export_guard.h"
#include "base/fixed_path.h"
#include "base/json_value.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "platform/files.h"
#include "platform/share.h"

namespace {

constexpr const char* kQueueFolder = "/var/services/photo/@eaDir";
constexpr const char* kQueueFile = "/var/services/photo/@eaDir/kavophoto_face.queue";
constexpr int kExclusive = 1;
constexpr const char* kPhotoFolderName = "photo";

// The queue file, open and locked against all other writers and the reader while the object lives.
class LockedQueue {
 public:
  explicit LockedQueue(const std::string& path)
      : locked_(RLIBCFileLockByFile(path.c_str(), kExclusive, &descriptor_) != 0) {}
  ~LockedQueue() {
    if (locked_) RLIBCFileUnlockByFile(descriptor_);
  }
  LockedQueue(const LockedQueue&) = delete;
  LockedQueue& operator=(const LockedQueue&) = delete;

  explicit operator bool() const { return locked_; }

  // Writes LINE whole at the end, or leaves the file as it was.
  [[nodiscard]] bool Append(const std::string& line) const;

 private:
  [[nodiscard]] bool EndsInsideLine(off_t end) const;
  [[nodiscard]] bool WriteWhole(std::string_view text) const;

  int descriptor_ = -1;
  bool locked_;
};

// True when a writer was killed in the middle of its line.
bool LockedQueue::EndsInsideLine(off_t end) const {
  char last = '\n';
  return end > 0 && pread(descriptor_, &last, sizeof last, end - 1) == sizeof last && last != '\n';
}

bool LockedQueue::WriteWhole(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool LockedQueue::Append(const std::string& line) const {
  const off_t end = lseek(descriptor_, 0, SEEK_END);
  if (end < 0) return false;
  if (WriteWhole(EndsInsideLine(end) ? "\n" + line : line)) return true;
  // Half a line would be taken for a job. Where even that fails, the next writer ends it.
  if (ftruncate(descriptor_, end) != 0) LOG_COLON(kPhotoIndexSource, "Failed to cut the job queue back.");
  return false;
}

[[nodiscard]] bool MakeQueueFolder() {
  const std::string folder = FixedPath(kQueueFolder);
  if (IsDirExist(folder.c_str()) || KAVOEAMKDir(0, folder.c_str()) == 0) return true;
  LOG_COLON(kPhotoIndexSource, "Make ea dir path error. eaDir path: %s", folder.c_str());
  return false;
}

// Adds JOB as one line. A name with a line end in it cannot be one line, and would smuggle in a job of its
// owner's choice.
[[nodiscard]] bool AppendJob(const std::string& job) {
  if (job.find('\n') != std::string::npos) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return false;
  }
  const std::string path = FixedPath(kQueueFile);
  const LockedQueue queue(path);
  if (!queue) {
    LOG_COLON(kPhotoIndexSource, "RLIBCFileLockByFile failed: %s", path.c_str());
    return false;
  }
  if (queue.Append(job + "\n")) return true;
  LOG_COLON(kPhotoIndexSource, "Failed to write %s", path.c_str());
  return false;
}

int QueueFaceRecognition(const char* path) {
  if (HGAStatusCheck(path) < 0 || !PhotoInfoDBFaceRecognitionEnableGet()) return 0;
  if (!MakeQueueFolder()) return -1;
  return AppendJob(std::string("F:") + path) ? 0 : -1;
}

// What the worker calls the photo: PATH below the first folder named "photo", in any letter case, or the
// whole of it.
std::string_view WatermarkKey(std::string_view path) {
  std::size_t start = 0;
  for (auto slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', start)) {
    if (EqualsIgnoreAsciiCase(path.substr(start, slash - start), kPhotoFolderName))
      return path.substr(slash + 1);
    start = slash + 1;
  }
  return path;
}

std::string WatermarkJob(const std::string& path) {
  const std::string key(WatermarkKey(path));
  if (!HGAStatusIsHGARequest()) return "w:" + key;
  return std::string("u:") + HGAStatusUserNameGet() + "/" + key;
}

int QueueWatermark(const Json::Value& info) {
  if (!MakeQueueFolder()) return -1;
  if (!info.isObject() || !info["szPath"].isString()) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  const std::string path = JsonText(info, "szPath");
  if (HGAStatusCheck(path.c_str()) < 0) {
    LOG_COLON(kPhotoIndexSource, "HGAStatusCheck failed: %s", path.c_str());
    return -1;
  }
  return AppendJob(WatermarkJob(path)) ? 0 : -1;
}

}  // namespace

int IndexFaceRecognitionQueueAdd(const char* path) {
  return Guarded(kPhotoIndexSource, -1, [&] { return QueueFaceRecognition(path); });
}

int IndexWatermarkQueueAdd(const Json::Value& info) {
  return Guarded(kPhotoIndexSource, -1, [&] { return QueueWatermark(info); });
}
