/* Indexes one photo and reads its row back, with nothing but the names and types of the plug-in's entry
 * points: the library is loaded and resolved at run time.
 *
 *   c_host LIBRARY PHOTO          (libphotoindex.so.1, an absolute path)
 *
 * Exit status: 0 done, 1 the library cannot be used, 2 wrong usage, 3 the photo could not be indexed. */
#include <dlfcn.h>
#include <lumivault/media_info.h>
#include <stdio.h>
#include <string.h>

enum { kUnusable = 1, kUsage = 2, kFailed = 3 };
enum { kIndexedFolder = 1, kPhoto = 2 };

struct entry_points {
  int (*IndexIsIndexPath)(const char*, unsigned);
  int (*IndexAdd)(KAVO_MEDIA_INFO*, unsigned);
  int (*IndexDBGetOne)(int, const char*, KAVO_MEDIA_INFO*);
  int (*IndexPhotoUserNameGet)(const char*, char*, unsigned);
  int (*IndexDBClose)(void);
};

/* ISO C has no conversion from an object pointer to a function pointer; POSIX makes their bytes the same. */
static int resolve(void* library, const char* name, void* function) {
  void* symbol = dlsym(library, name);
  memcpy(function, &symbol, sizeof symbol);
  if (symbol == NULL) fprintf(stderr, "%s\n", dlerror());
  return symbol != NULL;
}

static int resolve_all(void* library, struct entry_points* index) {
  return resolve(library, "IndexIsIndexPath", &index->IndexIsIndexPath) &&
         resolve(library, "IndexAdd", &index->IndexAdd) &&
         resolve(library, "IndexDBGetOne", &index->IndexDBGetOne) &&
         resolve(library, "IndexPhotoUserNameGet", &index->IndexPhotoUserNameGet) &&
         resolve(library, "IndexDBClose", &index->IndexDBClose);
}

static int index_photo(const struct entry_points* index, const char* path) {
  static KAVO_MEDIA_INFO info;
  static KAVO_MEDIA_INFO row;
  char owner[256];

  if (index->IndexIsIndexPath(path, kIndexedFolder) != 1) {
    fprintf(stderr, "%s: not in a library\n", path);
    return kFailed;
  }
  /* A service fills in what it knows of the file; the plug-in finds the rest. */
  snprintf(info.szPath, sizeof info.szPath, "%s", path);
  snprintf(info.szTakenTime, sizeof info.szTakenTime, "2024-05-17 12:34:56");
  info.resolutionX = 64;
  info.resolutionY = 48;
  if (index->IndexAdd(&info, kIndexedFolder) != 0 || index->IndexDBGetOne(kPhoto, path, &row) != 0 ||
      index->IndexPhotoUserNameGet(path, owner, sizeof owner) != 0) {
    fprintf(stderr, "%s: not indexed, the system log has the reason\n", path);
    return kFailed;
  }
  printf("%s: name %s, title %s, %dx%d, taken %s\n", owner, row.szName, row.szTitle, (int)row.resolutionX,
         (int)row.resolutionY, row.szTakenTime);
  return 0;
}

int main(int argc, char** argv) {
  struct entry_points index;
  void* library;
  int status;

  if (argc != 3) {
    fprintf(stderr, "usage: c_host LIBRARY PHOTO\n");
    return kUsage;
  }
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return kUnusable;
  }
  status = resolve_all(library, &index) ? index_photo(&index, argv[2]) : kUnusable;
  if (status != kUnusable) index.IndexDBClose();
  dlclose(library);
  return status;
}
