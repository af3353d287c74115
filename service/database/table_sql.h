// The statements that read whole tables, in parts that library_tables.cpp puts together. Each range of keys
// is found and read through an index; rows that no key reaches are few, and finding them walks their table
// once.
#ifndef SERVICE_DATABASE_TABLE_SQL_H_
#define SERVICE_DATABASE_TABLE_SQL_H_

// The key at which the next part of a table ends, a few thousand keys on: columns, FROM, condition, order.
inline constexpr const char* kPartEndSql =
    "SELECT @KAVO:NEVAR FROM @KAVO:NEVAR WHERE @KAVO:NEVAR ORDER BY @KAVO:NEVAR LIMIT 1 OFFSET 1999";
// The rows of one part: columns, FROM, condition, order.
inline constexpr const char* kPartRowsSql =
    "SELECT @KAVO:NEVAR FROM @KAVO:NEVAR WHERE @KAVO:NEVAR ORDER BY @KAVO:NEVAR";
// All rows in the order of their keys, some at a time: columns, FROM, order.
inline constexpr const char* kOpenCursorSql =
    "DECLARE rows_of_table NO SCROLL CURSOR FOR SELECT @KAVO:NEVAR FROM @KAVO:NEVAR ORDER BY @KAVO:NEVAR";
inline constexpr const char* kFetchSql = "FETCH 2000 FROM rows_of_table";
inline constexpr const char* kCloseCursorSql = "CLOSE rows_of_table";
// The rows that have no key: columns, FROM and WHERE.
inline constexpr const char* kKeylessRowsSql = "SELECT @KAVO:NEVAR FROM @KAVO:NEVAR";
// A part's limits. The key columns come as a list, the values as a list of literals.
inline constexpr const char* kKeyLiteral = "'@KAVO:VAR'";
inline constexpr const char* kAfterKeySql = "(@KAVO:NEVAR) > (@KAVO:NEVAR)";
inline constexpr const char* kUpToKeySql = "(@KAVO:NEVAR) <= (@KAVO:NEVAR)";
inline constexpr const char* kEveryKeySql = "1 = 1";

// What the ids of a row T stand for.
inline constexpr const char* kShareOfRowSql =
    "(SELECT S.sharename FROM photo_share S WHERE S.shareid = T.shareid)";
inline constexpr const char* kPrivilegeShareOfRowSql =
    "(SELECT S.sharename FROM photo_share S WHERE S.shareid = T.privilege_shareid)";
inline constexpr const char* kReferredShareOfRowSql =
    "(SELECT S.sharename FROM photo_share S WHERE S.shareid = T.ref_shareid)";
inline constexpr const char* kImagePathOfRowSql =
    "(SELECT P.path FROM photo_image P WHERE P.id = T.image_id)";
inline constexpr const char* kLabelNameOfRowSql =
    "(SELECT L.name FROM photo_label L WHERE L.id = T.label_id)";
inline constexpr const char* kLabelCategoryOfRowSql =
    "(SELECT L.category FROM photo_label L WHERE L.id = T.label_id)";

// Rows T, with the row K that has their key where it is another one.
inline constexpr const char* kPhotoRows = "photo_image T";
inline constexpr const char* kVideoRows = "video T";
inline constexpr const char* kVideoDescriptionRows = "video_desc T";
inline constexpr const char* kVideoCommentRows = "video_comment T";
inline constexpr const char* kVideoConvertRows = "video_convert T";
inline constexpr const char* kAlbumRows = "photo_share T";
inline constexpr const char* kLabelRows = "photo_label T";
inline constexpr const char* kVideoLabelRows = "photo_video_label T";
inline constexpr const char* kConfigRows = "photo_config T";
inline constexpr const char* kConfigKeyless = "photo_config T WHERE T.config_key IS NULL";

inline constexpr const char* kPhotoKeysFrom = "photo_image K";
inline constexpr const char* kPhotoLabelRows = "photo_image K JOIN photo_image_label T ON T.image_id = K.id";
inline constexpr const char* kPhotoLabelKeyless =
    "photo_image_label T WHERE NOT EXISTS (SELECT 1 FROM photo_image K WHERE K.id = T.image_id)";

inline constexpr const char* kAlbumsFrom = "photo_share K";
// A right has the key of its album.
#define LUMIVAULT_RIGHT_ROWS(table) "photo_share K JOIN " table " T ON T.shareid = K.shareid"
#define LUMIVAULT_RIGHT_KEYLESS(table) \
  table " T WHERE NOT EXISTS (SELECT 1 FROM photo_share K WHERE K.shareid = T.shareid)"
inline constexpr const char* kAccessRightRows = LUMIVAULT_RIGHT_ROWS("photo_access_right");
inline constexpr const char* kAccessRightKeyless = LUMIVAULT_RIGHT_KEYLESS("photo_access_right");
inline constexpr const char* kAccessRightAccountRows =
    LUMIVAULT_RIGHT_ROWS("photo_access_right_for_zor_account");
inline constexpr const char* kAccessRightAccountKeyless =
    LUMIVAULT_RIGHT_KEYLESS("photo_access_right_for_zor_account");
inline constexpr const char* kManageRightRows = LUMIVAULT_RIGHT_ROWS("photo_manage_right");
inline constexpr const char* kManageRightKeyless = LUMIVAULT_RIGHT_KEYLESS("photo_manage_right");
inline constexpr const char* kManageRightAccountRows =
    LUMIVAULT_RIGHT_ROWS("photo_manage_right_for_zor_account");
inline constexpr const char* kManageRightAccountKeyless =
    LUMIVAULT_RIGHT_KEYLESS("photo_manage_right_for_zor_account");
inline constexpr const char* kUploadRightRows = LUMIVAULT_RIGHT_ROWS("photo_upload_right");
inline constexpr const char* kUploadRightKeyless = LUMIVAULT_RIGHT_KEYLESS("photo_upload_right");
inline constexpr const char* kUploadRightAccountRows =
    LUMIVAULT_RIGHT_ROWS("photo_upload_right_for_zor_account");
inline constexpr const char* kUploadRightAccountKeyless =
    LUMIVAULT_RIGHT_KEYLESS("photo_upload_right_for_zor_account");
#undef LUMIVAULT_RIGHT_ROWS
#undef LUMIVAULT_RIGHT_KEYLESS

#endif  // SERVICE_DATABASE_TABLE_SQL_H_
