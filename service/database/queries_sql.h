// What the service asks of a library's rows, as templates of the database layer; the few statements that
// write say so by their first word. Each is answered by an index but where a comment says that it looks at
// every row. Schema, rights and what the commands print have headers of their own beside this one.
#ifndef SERVICE_DATABASE_QUERIES_SQL_H_
#define SERVICE_DATABASE_QUERIES_SQL_H_

// A complete database has the root album.
inline constexpr const char* kRootAlbumSql = "SELECT shareid FROM photo_share WHERE sharename = '/'";

// What the schema script says of its indexes, so that unused labels are found without a look at every link.
// Libraries that were made before it said so have none.
inline constexpr const char* kLinkStatisticsSql =
    "SELECT stat FROM sqlite_stat1 WHERE idx = 'photo_image_label_label_id'";

// Fails on what is no database, or a damaged one.
inline constexpr const char* kAnyTableSql = "SELECT 1 FROM main.sqlite_master LIMIT 1";
inline constexpr const char* kServerAnswersSql = "SELECT 1";
inline constexpr const char* kDatabaseOfServerSql =
    "SELECT datname FROM pg_database WHERE datname = '@KAVO:VAR'";

// In a new library people named in photos are taken over; "off" in their place is a person's choice and
// stays. A library is new until it has a photo, so that a first use that was cut short is made up for by the
// next.
inline constexpr const char* kMergePeopleByDefaultSql =
    "INSERT INTO photo_config (config_key, config_value) "
    "SELECT 'ms_people_tag_merged', 'on' WHERE NOT EXISTS (SELECT 1 FROM photo_image) ON CONFLICT DO NOTHING";

// The merge is left out while a photo moves.
inline constexpr const char* kMergesPeopleSql =
    "SELECT config_value FROM photo_config WHERE config_key = 'ms_people_tag_merged' AND config_value = 'on'";
inline constexpr const char* kPauseMergeSql =
    "UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'";
inline constexpr const char* kResumeMergeSql =
    "UPDATE photo_config SET config_value = 'on' WHERE config_key = 'ms_people_tag_merged'";

// One file: its row and what belongs to it.
inline constexpr const char* kPhotoSql = "SELECT * FROM photo_image WHERE path = '@KAVO:VAR'";
inline constexpr const char* kVideoSql = "SELECT * FROM video WHERE path = '@KAVO:VAR'";
inline constexpr const char* kClearTitleSql = "UPDATE photo_image SET title = '' WHERE path = '@KAVO:VAR'";
// Whether it has a row.
inline constexpr const char* kHasPhotoSql = "SELECT path FROM photo_image WHERE path = '@KAVO:VAR'";
inline constexpr const char* kHasVideoSql = "SELECT path FROM video WHERE path = '@KAVO:VAR'";
inline constexpr const char* kVideoDescriptionSql =
    "SELECT title, description FROM video_desc WHERE path = '@KAVO:VAR'";
inline constexpr const char* kPhotoLabelsSql =
    "SELECT L.id, L.category, L.name, P.info, P.info_new, P.status FROM photo_image_label P, photo_label L "
    "WHERE P.image_id = @KAVO:VAR AND L.id = P.label_id ORDER BY L.category, L.name, P.id";
inline constexpr const char* kPhotoLabelNamesSql =
    "SELECT L.category, L.name FROM photo_image I, photo_image_label P, photo_label L "
    "WHERE I.path = '@KAVO:VAR' AND P.image_id = I.id AND L.id = P.label_id";
inline constexpr const char* kVideoLabelsSql =
    "SELECT L.id, L.category, L.name, P.info, P.info_new, P.status FROM photo_video_label P, photo_label L "
    "WHERE P.video_path = '@KAVO:VAR' AND L.id = P.label_id ORDER BY L.category, L.name, P.id";
inline constexpr const char* kAlbumSql =
    "SELECT shareid, sharename, public FROM photo_share WHERE shareid = @KAVO:VAR";

// One folder: what lies directly in it.
inline constexpr const char* kRootPhotosSql =
    "SELECT path, timetaken, size, resolutionx, resolutiony FROM photo_image WHERE path NOT LIKE '%/%' ORDER "
    "BY path";
inline constexpr const char* kFolderPhotosSql =
    "SELECT path, timetaken, size, resolutionx, resolutiony FROM photo_image "
    "WHERE path LIKE '@KAVO:LVAR/%' AND path NOT LIKE '@KAVO:LVAR/%/%' ORDER BY path";
inline constexpr const char* kRootVideosSql =
    "SELECT path, mdate AS timetaken, filesize AS size, resolutionx, resolutiony FROM video "
    "WHERE path NOT LIKE '%/%' ORDER BY path";
inline constexpr const char* kFolderVideosSql =
    "SELECT path, mdate AS timetaken, filesize AS size, resolutionx, resolutiony FROM video "
    "WHERE path LIKE '@KAVO:LVAR/%' AND path NOT LIKE '@KAVO:LVAR/%/%' ORDER BY path";
inline constexpr const char* kRootAlbumsSql =
    "SELECT sharename FROM photo_share WHERE sharename NOT LIKE '%/%' ORDER BY sharename";
inline constexpr const char* kFolderAlbumsSql =
    "SELECT sharename FROM photo_share "
    "WHERE sharename LIKE '@KAVO:LVAR/%' AND sharename NOT LIKE '@KAVO:LVAR/%/%' ORDER BY sharename";
inline constexpr const char* kAlbumByNameSql =
    "SELECT shareid, public FROM photo_share WHERE sharename = '@KAVO:VAR'";

// Who may do what with one album, from one right table.
inline constexpr const char* kRightsOfAlbumSql =
    "SELECT userid, time FROM @KAVO:NEVAR WHERE shareid = @KAVO:VAR ORDER BY userid, time";

// What a full reindex has not met again. These look at every row, once a reindex.
inline constexpr const char* kMarkedPhotosSql =
    "SELECT path FROM photo_image WHERE updated = '0' ORDER BY path";
inline constexpr const char* kMarkedVideosSql = "SELECT path FROM video WHERE updated = '0' ORDER BY path";
inline constexpr const char* kMarkedAlbumsSql =
    "SELECT sharename AS path FROM photo_share WHERE updated = '0' ORDER BY sharename DESC";
inline constexpr const char* kCountMediaSql =
    "SELECT (SELECT count(*) FROM photo_image) + (SELECT count(*) FROM video) AS count";

#endif  // SERVICE_DATABASE_QUERIES_SQL_H_
