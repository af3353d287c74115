#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "base/ascii.h"
#include "core/error.h"
#include "core/out_text.h"
#include "platform/index.h"

namespace {

using namespace std::string_view_literals;

// The three tables are sorted and in lower case.
constexpr std::array kPhotos = {
    "3fr"sv, "arw"sv,  "avif"sv, "bmp"sv,  "cap"sv,  "cr2"sv, "cr3"sv, "crw"sv,  "dcr"sv,  "dng"sv,
    "erf"sv, "gif"sv,  "gpr"sv,  "heic"sv, "heif"sv, "hif"sv, "iiq"sv, "insp"sv, "jfif"sv, "jp2"sv,
    "jpe"sv, "jpeg"sv, "jpg"sv,  "jxl"sv,  "k25"sv,  "kdc"sv, "mef"sv, "mos"sv,  "mpo"sv,  "mrw"sv,
    "nef"sv, "orf"sv,  "pef"sv,  "png"sv,  "ptx"sv,  "raf"sv, "raw"sv, "rw2"sv,  "rwl"sv,  "sr2"sv,
    "srf"sv, "srw"sv,  "tif"sv,  "tiff"sv, "webp"sv, "x3f"sv,
};
constexpr std::array kWebVideos = {"m4v"sv, "mov"sv, "mp4"sv, "webm"sv};
constexpr std::array kOtherVideos = {
    "3g2"sv, "3gp"sv,  "asf"sv,  "avi"sv, "dat"sv, "divx"sv, "dv"sv,  "f4v"sv,  "flv"sv, "insv"sv,
    "lrv"sv, "m2t"sv,  "m2ts"sv, "mkv"sv, "mpe"sv, "mpeg"sv, "mpg"sv, "mts"sv,  "ogv"sv, "qt"sv,
    "rm"sv,  "rmvb"sv, "tp"sv,   "trp"sv, "ts"sv,  "vob"sv,  "wmv"sv, "xvid"sv,
};
static_assert(std::is_sorted(kPhotos.begin(), kPhotos.end()));
static_assert(std::is_sorted(kWebVideos.begin(), kWebVideos.end()));
static_assert(std::is_sorted(kOtherVideos.begin(), kOtherVideos.end()));

bool ComesBefore(std::string_view a, std::string_view b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char x, char y) { return LowerAscii(x) < LowerAscii(y); });
}

template <std::size_t N>
bool Has(const std::array<std::string_view, N>& table, const char* extension) {
  return extension != nullptr &&
         std::binary_search(table.begin(), table.end(), std::string_view(extension), ComesBefore);
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
  if (path == nullptr) {
    RECORD_ERROR(EINVAL);
    return -1;
  }
  std::string_view name = path;
  name.remove_prefix(name.rfind('/') + 1);  // nothing where there is no slash
  const std::size_t dot = name.rfind('.');
  const bool has_extension = dot != name.npos && dot + 1 < name.size();
  if (has_extension && PutWhole(name.substr(dot + 1), out, size) >= 0) return 0;
  RECORD_ERROR(has_extension ? ENAMETOOLONG : ENOENT);
  return -1;
}
