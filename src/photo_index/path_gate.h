// Which paths are this plug-in's business.
#ifndef PHOTO_INDEX_PATH_GATE_H_
#define PHOTO_INDEX_PATH_GATE_H_

enum class RequestScope {
  kRefused,    // the request context cannot be told
  kElsewhere,  // neither in a personal photo folder nor in the shared one
  kOurs
};

// Sets the request context (HGAStatusCheck) for PATH, which may be null, and says where it lies.
[[nodiscard]] RequestScope CheckRequest(const char* path);

// True when PATH is the shared photo folder or lies in it; false while there is none.
[[nodiscard]] bool LiesInSharedTree(const char* path);

// Opens the file or folder PATH of the request to everybody, as the platform's policy allows. A failure
// changes nothing for the caller.
void OpenToEverybody(const char* path);

#endif  // PHOTO_INDEX_PATH_GATE_H_
