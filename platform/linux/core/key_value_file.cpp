#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <optional>

#include "base/file_descriptor.h"
#include "base/read_on.h"
#include "core/error.h"
#include "core/file_state.h"
#include "core/key_value.h"
#include "core/out_text.h"
#include "platform/files.h"

namespace {

constexpr off_t kMaxFileSize = 1 << 20;
constexpr std::size_t kMaxKnownFiles = 1024;
constexpr int kReadings = 3;  // of a file that is written meanwhile

struct KnownFile {
  FileState state;
  bool settled;                            // no later change can have left the state as it is
  std::shared_ptr<const KeyValues> pairs;  // null: the file cannot be used
};

// The whole file behind DESCRIPTOR; nothing when it cannot be read or has another size by now.
std::optional<std::string> ReadAll(int descriptor, std::size_t size) {
  std::string text;
  text.reserve(size);
  if (!ReadOn(descriptor, size, text) || text.size() != size) return std::nullopt;
  return text;
}

void LogMalformed(const std::string& file, const ParsedKeyValues& parsed) {
  if (parsed.malformed_lines == 0) return;
  syslog(LOG_ERR, "%s: line %d is not key=value and was skipped (%d such lines in all).", file.c_str(),
         parsed.first_malformed, parsed.malformed_lines);
}

// SAME is what an earlier reading of this state of the file gave, or null.
std::shared_ptr<const KeyValues> Parse(const std::string& file, std::string_view text,
                                       const std::shared_ptr<const KeyValues>& same) {
  ParsedKeyValues parsed = ParseKeyValues(text);
  if (same != nullptr && same->pairs() == parsed.pairs) return same;
  LogMalformed(file, parsed);
  return std::make_shared<const KeyValues>(std::move(parsed.pairs));
}

// Whether the last call failed because there is no such file.
bool IsMissing() {
  return errno == ENOENT || errno == ENOTDIR;
}

// Reads the regular file FILE anew. Nothing when it cannot be opened or read.
std::optional<KnownFile> LoadOnce(const std::string& file, const KnownFile* before) {
  const FileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!descriptor || fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;

  const FileState state(status);
  const bool settled = !MayChangeUnseen(state);
  const bool known = before != nullptr && before->state == state;
  if (state.size > kMaxFileSize) {
    if (!known) syslog(LOG_ERR, "%s is larger than 1 MiB and was not read.", file.c_str());
    return KnownFile{state, settled, nullptr};
  }
  const std::optional<std::string> text = ReadAll(descriptor.get(), static_cast<std::size_t>(state.size));
  if (!text.has_value()) return std::nullopt;
  // A part of a list that is just written would be another list.
  if (fstat(descriptor.get(), &status) != 0 || FileState(status) != state) return std::nullopt;
  return KnownFile{state, settled, Parse(file, *text, known ? before->pairs : nullptr)};
}

std::optional<KnownFile> Load(const std::string& file, const KnownFile* before) {
  std::optional<KnownFile> loaded;
  for (int i = 0; i < kReadings && !loaded; ++i) loaded = LoadOnce(file, before);
  return loaded;
}

// The files that were asked for, each in the state of its last reading.
class KnownFiles {
 public:
  ReadPairs Get(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return NotRead(IsMissing());
    if (!S_ISREG(status.st_mode)) return NotRead(false);

    const std::lock_guard<std::mutex> lock(mutex_);
    const auto known = files_.find(file);
    if (known == files_.end()) return Put(file, Load(file, nullptr));
    if (known->second.settled && known->second.state == FileState(status)) return PairsOf(known->second);
    return Put(file, Load(file, &known->second));
  }

 private:
  static ReadPairs NotRead(bool missing) {
    return {missing ? KeyValueFile::kMissing : KeyValueFile::kUnreadable, nullptr};
  }

  static ReadPairs PairsOf(const KnownFile& known) {
    return {known.pairs != nullptr ? KeyValueFile::kRead : KeyValueFile::kUnreadable, known.pairs};
  }

  ReadPairs Put(const std::string& file, std::optional<KnownFile> fresh) {
    // It may have gone between the two looks at it.
    if (!fresh.has_value()) return NotRead(access(file.c_str(), F_OK) != 0 && IsMissing());
    if (files_.size() >= kMaxKnownFiles) files_.clear();
    return PairsOf(files_.insert_or_assign(file, *std::move(fresh)).first->second);
  }

  std::mutex mutex_;
  std::map<std::string, KnownFile> files_;
};

const std::string* Find(const KeyValues* pairs, const char* key) {
  return pairs != nullptr ? pairs->Find(key) : nullptr;
}

}  // namespace

ReadPairs TryKeyValues(const std::string& file) {
  static KnownFiles known;
  return known.Get(file);
}

std::shared_ptr<const KeyValues> ReadKeyValues(const std::string& file) {
  return TryKeyValues(file).pairs;
}

int RLIBCFileGetKeyValue(const char* file, const char* key, char* out, int size, int /*flags*/) {
  return WithoutExceptions(-1, [&] {
    if (file == nullptr || key == nullptr || out == nullptr || size <= 0) {
      RECORD_ERROR(EINVAL);
      return -1;
    }
    const auto pairs = ReadKeyValues(file);
    const std::string* value = Find(pairs.get(), key);
    if (value == nullptr) {
      RECORD_ERROR(ENOENT);
      return -1;
    }
    return PutCut(*value, out, size);
  });
}

int RLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int /*flags*/) {
  return WithoutExceptions(0, [&] {
    if (file == nullptr || key == nullptr || value == nullptr) return 0;
    const auto pairs = ReadKeyValues(file);
    const std::string* found = Find(pairs.get(), key);
    return found != nullptr && *found == value ? 1 : 0;
  });
}
