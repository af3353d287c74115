#include "files/fingerprint.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ios>
#include <sstream>

#include "base/file_descriptor.h"
#include "files/looking.h"
#include "platform/media_file.h"

namespace {

constexpr std::size_t kSampleSize = 16384;
constexpr std::uint64_t kStart = 0xcbf29ce484222325U;
constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15U;
constexpr unsigned kShift = 29;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * kFactor;
  return hash ^ (hash >> kShift);
}

// False when the file ends before LENGTH bytes are read.
bool MixSample(int file, off_t offset, std::size_t length, std::uint64_t& hash) {
  std::array<char, kSampleSize> sample{};
  if (pread(file, sample.data(), length, offset) != static_cast<ssize_t>(length)) return false;
  for (std::size_t at = 0; at < length; at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    memcpy(&word, sample.data() + at, std::min(sizeof(word), length - at));
    hash = Mix(hash, word);
  }
  return true;
}

}  // namespace

std::string Fingerprint(const std::string& path) {
  const Looking looking;
  const FileDescriptor file(looking ? KAVOMediaOpen(path.c_str()) : -1);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return "";
  const auto length = static_cast<std::size_t>(std::min<off_t>(status.st_size, kSampleSize));
  const off_t last = status.st_size - static_cast<off_t>(length);
  std::uint64_t hash = Mix(kStart, static_cast<std::uint64_t>(status.st_size));
  for (const off_t offset : {off_t{0}, last / 2, last}) {
    if (!MixSample(file.get(), offset, length, hash)) return "";
  }
  std::ostringstream text;
  text << std::hex << hash;
  return text.str();
}
