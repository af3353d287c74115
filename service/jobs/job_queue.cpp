#include "jobs/job_queue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <exception>
#include <sstream>
#include <utility>

#include "base/file_descriptor.h"
#include "base/fixed_path.h"
#include "common/atomic_file.h"
#include "common/stop_signals.h"
#include "platform/files.h"

namespace {

constexpr const char* kQueue = "/var/services/photo/@eaDir/kavophoto_face.queue";
// In the state folder, a line each: since when the oldest job has been seen, how long the queue was, the job.
constexpr const char* kSeen = "/oldest-job";
constexpr std::size_t kTimeSpace = 32;
constexpr std::int64_t kLongestJob = 8192;  // a path and a user's name
constexpr std::int64_t kKept = kMostJobBytes / 2;
constexpr std::int64_t kMostCounted = 4 * kMostJobBytes;  // one run may have made it longer than it may be

// Root could read it, and others may not.
bool IsPrivateOfAnother(const struct stat& file) {
  constexpr uid_t kRoot = 0;
  return geteuid() == kRoot && file.st_uid != kRoot && (file.st_mode & S_IROTH) == 0;
}

// The queue lies in a folder that others may write to: only a regular file is read, none behind a link, no
// other name of somebody's file and no private one that was moved there.
FileDescriptor OpenQueue() {
  FileDescriptor file(KAVOBeneathOpen(FixedPath(kSharedPhotoLink).c_str(), JobQueuePath().c_str()));
  struct stat status {};
  const bool counts =
      file && fstat(file.get(), &status) == 0 && status.st_nlink == 1 && !IsPrivateOfAnother(status);
  return counts ? std::move(file) : FileDescriptor();
}

std::int64_t SizeOf(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 ? status.st_size : 0;
}

// SIZE bytes from BEGIN on, fewer where there are no more.
std::string ReadAt(int file, std::int64_t begin, std::int64_t size) {
  std::string text(static_cast<std::size_t>(size), '\0');
  std::size_t filled = 0;
  while (filled < text.size()) {
    const ssize_t count = pread(file, text.data() + filled, text.size() - filled,
                                static_cast<off_t>(begin + static_cast<std::int64_t>(filled)));
    if (count <= 0) break;
    filled += static_cast<std::size_t>(count);
  }
  text.resize(filled);
  return text;
}

std::string OldestJob(int file) {
  const std::string front = ReadAt(file, 0, kLongestJob);
  return front.substr(0, front.find('\n'));
}

std::size_t LinesOf(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

enum class Patience { kToTheEnd, kUntilASignal };

// Those from BEGIN to END. In a hole, which may be of any size, is none. Nothing when a signal to stop comes
// that is heeded.
std::optional<std::size_t> LinesOf(int file, std::int64_t begin, std::int64_t end, Patience patience) {
  constexpr std::int64_t kBlock = std::int64_t{1} << 20;
  std::size_t lines = 0;
  for (std::int64_t at = begin; at < end;) {
    if (patience == Patience::kUntilASignal && PendingStop() != 0) return std::nullopt;
    const off_t data = lseek(file, static_cast<off_t>(at), SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;
    at = std::max<std::int64_t>(at, data);
    const std::string text = ReadAt(file, at, std::clamp<std::int64_t>(end - at, 0, kBlock));
    if (text.empty()) break;
    lines += LinesOf(text);
    at += static_cast<std::int64_t>(text.size());
  }
  return lines;
}

std::string Now() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm local{};
  std::array<char, kTimeSpace> text{};
  localtime_r(&now, &local);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

// Since when the oldest job in FILE has been seen as that. A queue that is shorter than it was has been
// emptied and begun again with the same photo.
std::optional<std::string> SeenSince(const StateRoot& root, int file) {
  std::istringstream seen(ReadWholeFile(root.path() + kSeen).value_or(""));
  std::string since;
  std::string job;
  std::int64_t bytes = 0;
  if (!std::getline(seen, since) || !(seen >> bytes) || bytes > SizeOf(file)) return std::nullopt;
  seen.ignore();
  if (!std::getline(seen, job) || job != OldestJob(file)) return std::nullopt;
  return since;
}

// What cannot be noted is told as read; nothing else depends on it.
void NoteOldest(const std::string& seen, int file) {
  const std::string text = Now() + "\n" + std::to_string(SizeOf(file)) + "\n" + OldestJob(file) + "\n";
  static_cast<void>(WriteWholeFile(seen, text));
}

// What stands in front of the younger half of a queue.
struct OlderPart {
  std::int64_t bytes = 0;
  std::size_t jobs = 0;
  std::string oldest;
};

// It may be of any size: it is counted before anybody has to wait for the queue. Nothing when a signal to
// stop comes meanwhile.
std::optional<OlderPart> OlderPartOf(int file) {
  OlderPart part{SizeOf(file) - kKept, 0, OldestJob(file)};
  const auto jobs = LinesOf(file, 0, part.bytes, Patience::kUntilASignal);
  if (!jobs) return std::nullopt;
  part.jobs = *jobs;
  return part;
}

// Keeps the younger half, from the beginning of a line; everything where that cannot be read. It is written
// before the rest goes, so that a kill in between loses none: some jobs are there twice then, which is
// allowed, and one is cut in front, where it has no mark of a job.
std::size_t DropOldest(int file, std::int64_t size, const OlderPart& older) {
  const std::string end = ReadAt(file, size - kKept, kKept);
  if (static_cast<std::int64_t>(end.size()) != kKept) return 0;
  const std::size_t line_end = end.find('\n');
  const std::string kept = line_end == std::string::npos ? "" : end.substr(line_end + 1);
  // A queue grows at its end alone.
  const auto grown =
      LinesOf(file, older.bytes, size - static_cast<std::int64_t>(kept.size()), Patience::kUntilASignal);
  if (!grown) return 0;
  const std::size_t before = older.jobs + *grown;
  const bool written = pwrite(file, kept.data(), kept.size(), 0) == static_cast<ssize_t>(kept.size());
  if (ftruncate(file, written ? static_cast<off_t>(kept.size()) : 0) != 0) return 0;
  return before + (written ? 0 : LinesOf(kept));
}

// Of the queue, which is open as QUEUE too.
std::size_t Bound(int queue) {
  const auto older = OlderPartOf(queue);
  int file = -1;
  if (!older || RLIBCFileLockByFile(JobQueuePath().c_str(), 1, &file) == 0) return 0;
  // A reader may have come meanwhile.
  const std::int64_t size = SizeOf(file);
  const bool as_counted = size >= older->bytes + kKept && OldestJob(file) == older->oldest;
  const std::size_t dropped = as_counted ? DropOldest(file, size, *older) : 0;
  RLIBCFileUnlockByFile(file);
  return dropped;
}

std::size_t Tend(const StateRoot& root) {
  const FileDescriptor file = OpenQueue();
  // A reader that is slower than this run loses nothing: the oldest has waited since an earlier one.
  const bool waits = file && SeenSince(root, file.get());
  const std::size_t dropped = waits && SizeOf(file.get()) > kMostJobBytes ? Bound(file.get()) : 0;
  const std::string seen = root.path() + kSeen;
  if (!file || SizeOf(file.get()) == 0) {
    unlink(seen.c_str());
    return dropped;
  }
  if (!SeenSince(root, file.get())) NoteOldest(seen, file.get());
  return dropped;
}

}  // namespace

std::string JobQueuePath() {
  return FixedPath(kQueue);
}

bool FaceRecognitionTakesJobs() {
  std::array<char, kPathSize> real{};
  const bool known = KAVOFixedPathGet(kPackageSettings, real.data(), kPathSize) >= 0;
  return known && RLIBCFileCheckKeyValue(real.data(), "runfacerecognition", "yes", 0) != 0;
}

std::optional<JobQueue> ReadJobQueue(const StateRoot& root) {
  const FileDescriptor file = OpenQueue();
  JobQueue queue;
  queue.path = JobQueuePath();
  queue.bytes = file ? SizeOf(file.get()) : 0;
  if (queue.bytes == 0) return std::nullopt;
  queue.jobs = LinesOf(file.get(), 0, std::min(queue.bytes, kMostCounted), Patience::kToTheEnd).value_or(0);
  queue.unread_since = SeenSince(root, file.get());
  return queue;
}

std::size_t TendJobQueue(const StateRoot& root) {
  try {
    return Tend(root);
  } catch (const std::exception&) {
    return 0;
  }
}
