#ifndef PHOTO_DATABASE_THUMBNAIL_VERSION_H_
#define PHOTO_DATABASE_THUMBNAIL_VERSION_H_

// The version of the photo PATH (null: 0) of WIDTH x HEIGHT pixels: 1 when its extra-large thumbnail stands
// where the photo lies or the other way round, so that viewers fetch a new one; else 0.
int ThumbnailVersion(const char* path, int width, int height);

#endif  // PHOTO_DATABASE_THUMBNAIL_VERSION_H_
