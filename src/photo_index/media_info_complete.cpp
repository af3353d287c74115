#include "photo_index/media_info_complete.h"

#include <json/value.h>

#include <optional>
#include <string>

#include "base/ascii.h"
#include "base/json_value.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"

namespace {

// The service's name for the album of a personal photo folder itself.
constexpr const char* kPersonalRootAlbum = "photo";

// The first line of the side file under the first of its two names that has one; nothing when neither has.
std::optional<std::string> SideText(const char* path, const char* name, const char* older_name) {
  char line[kNameSize] = {};
  if (GetFileContentInEA(path, name, line, sizeof line) == 0) return line;
  if (GetFileContentInEA(path, older_name, line, sizeof line) == 0) return line;
  return std::nullopt;
}

}  // namespace

void IndexMediaInfoComplete(Json::Value& info) {
  const std::string path = JsonText(info, "szPath");
  if (path.empty()) LOG_COLON(kPhotoIndexSource, "Bad parameter.");

  info["szName"] = std::string(BaseName(path));
  if (HGAStatusIsHGARequest() && EqualsIgnoreAsciiCase(JsonText(info, "szAlbum"), kPersonalRootAlbum)) {
    info["szAlbum"] = "";
  }
  if (const auto title = SideText(path.c_str(), "KAVOPHOTO_TITLE", "KAVOPHOTO:TITLE"))
    info["szTitle"] = *title;
  if (const auto text = SideText(path.c_str(), "KAVOPHOTO_DESC", "KAVOPHOTO:DESC")) info["szTitle"] = *text;
}
