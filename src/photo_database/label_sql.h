// Statements on photo_label (id, category, name), photo_image_label (id, image_id, label_id, info, info_new,
// status) and the face switch. Those with printf conversions are formatted first and then filled; "%%" of
// them is one "%".
#ifndef PHOTO_DATABASE_LABEL_SQL_H_
#define PHOTO_DATABASE_LABEL_SQL_H_

inline constexpr const char* kFaceSwitch =
    "select * from photo_config where config_key = 'enable_face_recognition'";

// --- Labels. The shared database gives the ids, in a personal one the program does.
inline constexpr char kLabelByName[] = "select * from photo_label where category = %d and name = '@KAVO:VAR'";
inline constexpr const char* kLastLabel = "select * from photo_label order by id desc limit 1";
inline constexpr char kInsertLabelWithId[] =
    "insert into photo_label (id, category, name) values (%d, %d, '@KAVO:VAR')";
inline constexpr char kInsertLabel[] = "insert into photo_label (category, name) values (%d, '@KAVO:VAR')";

// --- Links between photos and labels.
inline constexpr char kLinkByIds[] =
    "SELECT id FROM photo_image_label WHERE image_id = %d AND label_id = %d ORDER BY id DESC";
inline constexpr const char* kLastLink = "select * from photo_image_label order by id desc limit 1";
inline constexpr char kInsertLink[] =
    "INSERT INTO photo_image_label (image_id, label_id, info_new, status) VALUES(%d, %d, '@KAVO:VAR', "
    "'@KAVO:VAR')";
inline constexpr const char* kDeleteConfirmedLink =
    "DELETE FROM photo_image_label WHERE image_id = @KAVO:INT AND label_id = @KAVO:INT AND status = 't'";
inline constexpr const char* kDeleteKeywordLinks =
    "DELETE FROM photo_image_label WHERE image_id = @KAVO:INT AND label_id IN "
    "(SELECT id FROM photo_label WHERE category = 2)";

// --- Faces. The second is completed by a further condition, which may be empty.
inline constexpr char kNamedFaces[] =
    "select A.id, B.info, B.info_new, C.path from photo_label A, photo_image_label B, photo_image C "
    "where A.category = 0 and A.name <> '' and B.label_id = A.id and "
    "(B.info like '%%face%%' or B.info_new like '%%face%%') and B.status = '@KAVO:VAR' and C.id = B.image_id";
inline constexpr char kFacesOfPhoto[] =
    "select A.id, B.info, B.info_new, C.path from photo_label A, photo_image_label B, photo_image C "
    "where A.category = 0 and B.label_id = A.id %s and C.id = B.image_id and C.path = '@KAVO:VAR'";
inline constexpr char kSetLabelOfLink[] = "update photo_image_label set label_id = %d where id = %d";
inline constexpr char kInfoOfLink[] = "select info, info_new from photo_image_label where id = %d";
inline constexpr char kSetInfoOfLink[] = "update photo_image_label set info_new = '@KAVO:VAR' where id = %d";

#endif  // PHOTO_DATABASE_LABEL_SQL_H_
