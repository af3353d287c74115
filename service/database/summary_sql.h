// The statements that count. Each walks the tables it counts once; what lies in an album and what carries a
// label are counted in an index.
#ifndef SERVICE_DATABASE_SUMMARY_SQL_H_
#define SERVICE_DATABASE_SUMMARY_SQL_H_

inline constexpr const char* kAlbumSummariesSql =
    "SELECT S.shareid, S.sharename, S.title, S.description, S.public, "
    "(SELECT count(*) FROM photo_image P WHERE P.shareid = S.shareid) AS photos, "
    "(SELECT count(*) FROM video V WHERE V.shareid = S.shareid) AS videos "
    "FROM photo_share S ORDER BY S.sharename";
inline constexpr const char* kLabelSummariesSql =
    "SELECT L.id, L.category, L.name, "
    "(SELECT count(DISTINCT P.image_id) FROM photo_image_label P WHERE P.label_id = L.id) AS photos, "
    "(SELECT count(DISTINCT V.video_path) FROM photo_video_label V WHERE V.label_id = L.id) AS videos "
    "FROM photo_label L ORDER BY L.category, L.name";

// '1970-01-01 00:00:00' stands for a photo whose taken time is not known. A position that came without
// numbers is in gps alone.
inline constexpr const char* kPhotoCountsSql =
    "SELECT count(*) AS files, "
    "count(CASE WHEN (lat IS NOT NULL AND lng IS NOT NULL) OR gps <> '' THEN 1 END) AS placed, "
    "count(CASE WHEN coalesce(timetaken, '') IN ('', '1970-01-01 00:00:00') THEN 1 END) AS untaken, "
    "count(CASE WHEN disabled = 't' THEN 1 END) AS disabled, coalesce(sum(size), 0) AS bytes, "
    "min(CASE WHEN timetaken NOT IN ('', '1970-01-01 00:00:00') THEN timetaken END) AS oldest, "
    "max(CASE WHEN timetaken NOT IN ('', '1970-01-01 00:00:00') THEN timetaken END) AS newest FROM "
    "photo_image";
inline constexpr const char* kVideoCountsSql =
    "SELECT count(*) AS files, "
    "count(CASE WHEN (lat IS NOT NULL AND lng IS NOT NULL) OR gps <> '' THEN 1 END) AS placed, "
    "count(CASE WHEN disabled = 't' THEN 1 END) AS disabled, coalesce(sum(filesize), 0) AS bytes FROM video";
inline constexpr const char* kAlbumCountSql = "SELECT count(*) AS albums FROM photo_share";
inline constexpr const char* kLabelCountsSql =
    "SELECT count(CASE WHEN category = 0 THEN 1 END) AS person, "
    "count(CASE WHEN category = 1 THEN 1 END) AS place, count(CASE WHEN category = 2 THEN 1 END) AS keyword, "
    "count(CASE WHEN category NOT IN (0, 1, 2) THEN 1 END) AS other FROM photo_label";

#endif  // SERVICE_DATABASE_SUMMARY_SQL_H_
