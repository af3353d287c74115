#include <array>
#include <string_view>

#include "core/out_text.h"
#include "platform/index.h"

namespace {

struct ConvertedVideo {
  std::string_view name;  // behind the prefix of side files
  std::string_view type;
};

constexpr std::array kConvertedVideos = {
    ConvertedVideo{"FILM_MPEG4.mp4", "mpeg4"},
    ConvertedVideo{"FILM_H264.mp4", "h264"},
    ConvertedVideo{"FILM_MOBILE.mp4", "mobile"},
    ConvertedVideo{"FILM.flv", "flv"},
};
constexpr std::array<std::string_view, 2> kPrefixes = {"KAVOPHOTO_", "KAVOPHOTO:"};

}  // namespace

int ConvertVideoTypeGet(const char* name, char* out, int size) {
  std::string_view item = name != nullptr ? name : "";
  for (const std::string_view prefix : kPrefixes) {
    if (!item.starts_with(prefix)) continue;
    item.remove_prefix(prefix.size());
    for (const ConvertedVideo& video : kConvertedVideos) {
      if (item == video.name) return PutWhole(video.type, out, size) >= 0 ? 1 : 0;
    }
    return 0;
  }
  return 0;
}
