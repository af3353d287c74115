#ifndef PHOTO_DATABASE_STORED_PATH_H_
#define PHOTO_DATABASE_STORED_PATH_H_

// The key of absolute PATH in the database of the request: the path itself in the shared database; in a
// personal one what follows the user's photo folder and its '/'. Points into PATH; "" when a personal path
// ends before that.
const char* StoredPath(const char* path);

#endif  // PHOTO_DATABASE_STORED_PATH_H_
