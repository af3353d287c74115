#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "core/error.h"
#include "core/out_text.h"
#include "platform/index.h"

namespace {

using namespace std::string_view_literals;

// The three tables are sorted and in lower case.
constexpr std::array kPhotos = {
    "3fr"sv, "arw"sv, "avif"sv, "bmp"sv,  "cr2"sv, "cr3"sv,  "crw"sv,  "dcr"sv, "dng"sv,
    "erf"sv, "gif"sv, "heic"sv, "heif"sv, "jpe"sv, "jpeg"sv, "jpg"sv,  "k25"sv, "kdc"sv,
    "mef"sv, "mos"sv, "mrw"sv,  "nef"sv,  "orf"sv, "pef"sv,  "png"sv,  "ptx"sv, "raf"sv,
    "raw"sv, "rw2"sv, "sr2"sv,  "srf"sv,  "tif"sv, "tiff"sv, "webp"sv, "x3f"sv,
};
constexpr std::array kWebVideos = {"m4v"sv, "mov"sv, "mp4"sv, "webm"sv};
constexpr std::array kOtherVideos = {
    "3g2"sv, "3gp"sv,  "asf"sv, "avi"sv, "dat"sv,  "divx"sv, "dv"sv,  "f4v"sv,  "flv"sv,
    "m2t"sv, "m2ts"sv, "mkv"sv, "mpe"sv, "mpeg"sv, "mpg"sv,  "mts"sv, "ogv"sv,  "qt"sv,
    "rm"sv,  "rmvb"sv, "tp"sv,  "trp"sv, "ts"sv,   "vob"sv,  "wmv"sv, "xvid"sv,
};
static_assert(std::is_sorted(kPhotos.begin(), kPhotos.end()));
static_assert(std::is_sorted(kWebVideos.begin(), kWebVideos.end()));
static_assert(std::is_sorted(kOtherVideos.begin(), kOtherVideos.end()));

constexpr char Lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

template <std::size_t N>
bool Has(const std::array<std::string_view, N>& table, const char* extension) {
  if (extension == nullptr) return false;
  std::string lowered = extension;
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
  return std::binary_search(table.begin(), table.end(), std::string_view(lowered));
}

}  // namespace

bool BlKAVOIndexIsPhotoOnWeb(const char* extension) {
  return Has(kPhotos, extension);
}

bool BlKAVOIndexIsVideoOnWeb(const char* extension) {
  return Has(kWebVideos, extension);
}

bool BlKAVOIndexIsVideo(const char* extension) {
  return Has(kWebVideos, extension) || Has(kOtherVideos, extension);
}

int KAVOIndexExtGet(const char* path, char* out, int size) {
  if (path == nullptr) return -1;
  std::string_view name = path;
  name.remove_prefix(name.rfind('/') + 1);  // nothing where there is no slash
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos || dot + 1 == name.size()) return -1;
  return PutWhole(name.substr(dot + 1), out, size) < 0 ? -1 : 0;
}
