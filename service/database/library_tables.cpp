#include "database/library_tables.h"

#include "database/table_sql.h"

namespace {

using enum ColumnKind;

constexpr std::array kVideoDescriptionColumns{Column{"id", kId}, Column{"path"}, Column{"title"},
                                              Column{"description"}, Column{"updated"}};

constexpr std::array kVideoCommentColumns{Column{"id", kId}, Column{"path"},    Column{"name"},
                                          Column{"email"},   Column{"comment"}, Column{"date"},
                                          Column{"updated"}};

constexpr std::array kVideoConvertColumns{Column{"id", kId},
                                          Column{"video_path"},
                                          Column{"convert_file_path"},
                                          Column{"filesize", kNumber},
                                          Column{"resolutionx", kNumber},
                                          Column{"resolutiony", kNumber},
                                          Column{"video_bitrate", kNumber},
                                          Column{"vcodec"},
                                          Column{"video_profile", kNumber},
                                          Column{"video_level", kNumber},
                                          Column{"container_type"},
                                          Column{"acodec"},
                                          Column{"audio_bitrate", kNumber},
                                          Column{"audio_frequency", kNumber},
                                          Column{"audio_channel", kNumber},
                                          Column{"convert_type"},
                                          Column{"updated"}};

constexpr std::array kAlbumColumns{Column{"shareid", kId}, Column{"sharename"},  Column{"title"},
                                   Column{"description"},  Column{"public"},     Column{"hits", kNumber},
                                   Column{"cover"},        Column{"comment"},    Column{"is_subdir"},
                                   Column{"updated"},      Column{"conversion"}, Column{"ref_shareid", kId},
                                   Column{"password"}};

// The user is one of the system, not of the library.
constexpr std::array kRightColumns{Column{"userid", kNumber}, Column{"shareid", kId}, Column{"time", kClock}};

constexpr std::array kConfigColumns{Column{"config_key"}, Column{"config_value"}};

constexpr std::array kLabelColumns{Column{"id", kId}, Column{"category", kNumber}, Column{"name"}};

constexpr std::array kPhotoLabelColumns{Column{"id", kId}, Column{"image_id", kId}, Column{"label_id", kId},
                                        Column{"info"},    Column{"info_new"},      Column{"status"}};

constexpr std::array kVideoLabelColumns{Column{"id", kId}, Column{"video_path"}, Column{"label_id", kId},
                                        Column{"info"},    Column{"info_new"},   Column{"status"}};

constexpr Reference kShare{Column{"share"}, kShareOfRowSql};
constexpr Reference kPrivilegeShare{Column{"privilege_share"}, kPrivilegeShareOfRowSql};
constexpr Reference kReferredShare{Column{"ref_share"}, kReferredShareOfRowSql};
constexpr Reference kImagePath{Column{"image_path"}, kImagePathOfRowSql};
constexpr Reference kLabelName{Column{"label_name"}, kLabelNameOfRowSql};
constexpr Reference kLabelCategory{Column{"label_category", kNumber}, kLabelCategoryOfRowSql};

constexpr std::array kMediaReferences{kShare, kPrivilegeShare};
constexpr std::array kAlbumReferences{kReferredShare};
constexpr std::array kRightReferences{kShare};
constexpr std::array kPhotoLabelReferences{kImagePath, kLabelName, kLabelCategory};
constexpr std::array kVideoLabelReferences{kLabelName, kLabelCategory};

constexpr std::array kPathKey{"T.path"};
constexpr std::array kVideoPathKey{"T.video_path"};
constexpr std::array kAlbumKey{"T.sharename"};
constexpr std::array kConfigKey{"T.config_key"};
constexpr std::array kLabelKey{"T.category", "T.name"};
constexpr std::array kPhotoKey{"K.path"};
constexpr std::array kRightKey{"K.sharename"};

// A table whose rows have their key in themselves.
constexpr LibraryTable Own(const char* name, std::span<const Column> columns,
                           std::span<const Reference> references, const char* from,
                           std::span<const char* const> keys) {
  return {name, columns, references, from, keys, from, nullptr};
}

// Rights have the key of their album.
constexpr LibraryTable Right(const char* name, const char* rows, const char* keyless) {
  return {name, kRightColumns, kRightReferences, rows, kRightKey, kAlbumsFrom, keyless};
}

constexpr std::array kTables{
    Right("photo_access_right", kAccessRightRows, kAccessRightKeyless),
    Right("photo_access_right_for_zor_account", kAccessRightAccountRows, kAccessRightAccountKeyless),
    LibraryTable{"photo_config", kConfigColumns, {}, kConfigRows, kConfigKey, kConfigRows, kConfigKeyless},
    Own("photo_image", kPhotoColumns, kMediaReferences, kPhotoRows, kPathKey),
    LibraryTable{"photo_image_label", kPhotoLabelColumns, kPhotoLabelReferences, kPhotoLabelRows, kPhotoKey,
                 kPhotoKeysFrom, kPhotoLabelKeyless},
    Own("photo_label", kLabelColumns, {}, kLabelRows, kLabelKey),
    Right("photo_manage_right", kManageRightRows, kManageRightKeyless),
    Right("photo_manage_right_for_zor_account", kManageRightAccountRows, kManageRightAccountKeyless),
    Own("photo_share", kAlbumColumns, kAlbumReferences, kAlbumRows, kAlbumKey),
    Right("photo_upload_right", kUploadRightRows, kUploadRightKeyless),
    Right("photo_upload_right_for_zor_account", kUploadRightAccountRows, kUploadRightAccountKeyless),
    Own("photo_video_label", kVideoLabelColumns, kVideoLabelReferences, kVideoLabelRows, kVideoPathKey),
    Own("video", kVideoColumns, kMediaReferences, kVideoRows, kPathKey),
    Own("video_comment", kVideoCommentColumns, {}, kVideoCommentRows, kPathKey),
    Own("video_convert", kVideoConvertColumns, {}, kVideoConvertRows, kVideoPathKey),
    Own("video_desc", kVideoDescriptionColumns, {}, kVideoDescriptionRows, kPathKey),
};

}  // namespace

std::span<const LibraryTable> LibraryTables() {
  return kTables;
}
