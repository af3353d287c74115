#ifndef PHOTO_DATABASE_KEYWORDS_H_
#define PHOTO_DATABASE_KEYWORDS_H_

// Gives the saved photo PATH the labels (category 2) that its own keywords name and takes all others of that
// category away. The keywords are those of XMP, or of IPTC when XMP has none. A failure is logged; when it is
// that the keywords cannot be read, the labels stay as they are.
void UpdateKeywords(const char* path);

#endif  // PHOTO_DATABASE_KEYWORDS_H_
