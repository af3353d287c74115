#ifndef PHOTO_DATABASE_KEYWORDS_H_
#define PHOTO_DATABASE_KEYWORDS_H_

// Gives the saved photo PATH the labels (category 2) that its own keywords name and takes all others of that
// category away. The keywords are those of XMP, or of IPTC when XMP has none that can be used; blanks inside
// an IPTC keyword become one. At most 1024 entries of at most 1024 keywords each are used. A failure is
// logged; when it is that the keywords cannot be read, the labels stay as they are. False when the request
// context does not describe PATH afterwards, true otherwise.
[[nodiscard]] bool UpdateKeywords(const char* path);

#endif  // PHOTO_DATABASE_KEYWORDS_H_
