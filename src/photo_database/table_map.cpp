#include <array>

#include "lumivault/photo_database.h"

const char* PhotoMapping::GetValue(PHOTO_TABLE_TYPE type) noexcept {
  static constexpr std::array<const char*, PHOTO_TABLE_DIRECTORY> kTables = {
      "photo_image",
      "video_desc",
      "video_comment",
      "photo_video_label",
      "photo_share",
      "photo_access_right",
      "photo_access_right_for_zor_account",
      "photo_upload_right",
      "photo_upload_right_for_zor_account",
      "photo_manage_right",
      "photo_manage_right_for_zor_account",
      "photo_config",
      "video",
      "video_convert",
  };
  return kTables[type];
}
