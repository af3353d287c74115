#ifndef PHOTO_INDEX_MEDIA_INFO_COMPLETE_H_
#define PHOTO_INDEX_MEDIA_INFO_COMPLETE_H_

namespace Json {
class Value;
}

// Fills what the service does not know into a media record whose request context is set: "szName" from the
// path, "szAlbum" of a personal photo folder, and "szTitle" from the side files, which are consumed. A
// description side file replaces the title.
void IndexMediaInfoComplete(Json::Value& info);

#endif  // PHOTO_INDEX_MEDIA_INFO_COMPLETE_H_
