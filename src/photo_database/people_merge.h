#ifndef PHOTO_DATABASE_PEOPLE_MERGE_H_
#define PHOTO_DATABASE_PEOPLE_MERGE_H_

// Makes the people (labels of category 0) of the saved photo PATH those that its metadata names: what both
// agree on stays, other confirmed links go, other regions are linked. A photo has one link to a label, and
// its unnamed people share one: they all go when one of them does, and the first that the metadata has is
// linked again. A link that nobody has confirmed stays as it is and keeps its person from being linked. Files
// that are no photos of a format with such metadata are left alone. A failure is logged.
void MergePeopleTags(const char* path);

#endif  // PHOTO_DATABASE_PEOPLE_MERGE_H_
