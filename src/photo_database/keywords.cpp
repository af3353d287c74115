#include "photo_database/keywords.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "base/limits.h"
#include "base/log.h"
#include "base/owned_list.h"
#include "lumivault/photo_database.h"
#include "photo_database/keyword_listing.h"
#include "photo_database/label.h"
#include "photo_database/saved_photo.h"
#include "photo_database/tool_values.h"
#include "platform/text.h"

namespace {

constexpr int kKeywordCategory = 2;
constexpr const char* kXmpKeywords = "Xmp.dc.subject";
constexpr const char* kListEverything = "-pa";

std::optional<std::vector<std::string>> IptcEntries(const char* path) {
  const auto listing = MetadataListing(kListEverything, path, {kIptcKeywords});
  if (!listing) return std::nullopt;
  return ListedKeywords(*listing);
}

// The keyword texts of the file, each one keyword or several with commas between; nothing when the file
// cannot be asked.
std::optional<std::vector<std::string>> KeywordEntries(const char* path) {
  if (auto value = PhotoExifTagValueGet(path, kXmpKeywords, kPathSize)) return std::vector{std::move(*value)};
  return IptcEntries(path);
}

void LinkKeyword(const char* path, int photo_id, const std::string& keyword) {
  const int label_id = PhotoInfoDBLabelCheck(path, keyword.c_str(), kKeywordCategory);
  if (label_id == -1) {
    LOG_COLON(kPhotoDatabaseSource, "PhotoInfoDBLabelCheck failed for %s.", keyword.c_str());
    return;
  }
  LinkSavedPhoto(photo_id, label_id, keyword, "");
}

void LinkPiece(const char* path, int photo_id, std::string piece) {
  if (RLIBCStrTrimSpace(piece.data()) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "RLIBCStrTrimSpace failed for %s.", piece.c_str());
    return;
  }
  piece.resize(std::strlen(piece.c_str()));
  if (!piece.empty()) LinkKeyword(path, photo_id, piece);
}

void LinkEntry(const char* path, int photo_id, const std::string& entry) {
  const OwnedList pieces(RLIBCSzListAlloc(kListSize));
  if (pieces == nullptr || RLIBCStrSepToList(entry.c_str(), ",", pieces.get()) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Separate value to list failed.");
    return;
  }
  const int count = std::min(RLIBCSzListCount(pieces.get()), kListSize);
  for (int i = 0; i < count; ++i) {
    LinkPiece(path, photo_id, RLIBCSzListGet(pieces.get(), i));
  }
}

void ReplaceKeywords(const char* path) {
  const auto photo_id = SavedPhotoId(path);
  if (!photo_id) return;
  const auto entries = KeywordEntries(path);
  if (!entries) return;
  if (PhotoInfoDBImageLabelDeleteByImage(*photo_id) < 0) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to delete photo_image_label by photo_id(%d)", *photo_id);
    return;
  }
  for (const std::string& entry : *entries) LinkEntry(path, *photo_id, entry);
}

}  // namespace

bool UpdateKeywords(const char* path) {
  if (!CheckPath(path)) return false;
  ReplaceKeywords(path);
  return true;
}
