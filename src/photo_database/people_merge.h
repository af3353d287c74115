#ifndef PHOTO_DATABASE_PEOPLE_MERGE_H_
#define PHOTO_DATABASE_PEOPLE_MERGE_H_

// Makes the people (labels of category 0) of the saved photo PATH those that its metadata names: what both
// agree on stays, other confirmed links go, other regions are linked. The unnamed people of a photo share
// one link to remove, so they all go when one of them does and those that the metadata has are linked again.
// Files that are no photos of a format with such metadata are left alone. A failure is logged.
void MergePeopleTags(const char* path);

#endif  // PHOTO_DATABASE_PEOPLE_MERGE_H_
