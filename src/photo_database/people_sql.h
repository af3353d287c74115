// The people of a photo.
#ifndef PHOTO_DATABASE_PEOPLE_SQL_H_
#define PHOTO_DATABASE_PEOPLE_SQL_H_

// A printf format around one of the two conditions.
inline constexpr const char kPhotoPeople[] =
    "SELECT photo_label.name AS name, photo_image_label.info AS info, "
    "photo_image_label.info_new AS info_new FROM photo_image INNER JOIN photo_image_label ON "
    "photo_image.id = photo_image_label.image_id INNER JOIN photo_label ON "
    "photo_image_label.label_id = photo_label.id WHERE photo_label.category = 0 AND "
    "photo_image_label.status = '@KAVO:VAR' AND photo_image.id = @KAVO:INT AND %s ";
inline constexpr const char* kUnnamedPeople = "photo_label.name = ''";
inline constexpr const char* kNamedPeople = "photo_label.name != ''";

#endif  // PHOTO_DATABASE_PEOPLE_SQL_H_
