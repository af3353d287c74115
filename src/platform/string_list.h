// A growing list of texts, owned by whoever allocated it, used by one thread at a time. Installed as
// lumivault/platform/string_list.h; callable from C.
#ifndef PLATFORM_STRING_LIST_H_
#define PLATFORM_STRING_LIST_H_

#include "lumivault/export.h"
#include "lumivault/handles.h"

#ifdef __cplusplus
extern "C" {
#endif

// SIZE is the number of entries to make room for; the list grows beyond it. Null when memory is out.
KAVO_API RLIBCSZLIST* RLIBCSzListAlloc(int size);
// Copies TEXT to the end. The new length, or -1 for null and when memory is out.
KAVO_API int RLIBCSzListPush(RLIBCSZLIST* list, const char* text);
// The number of entries; 0 for null.
KAVO_API int RLIBCSzListCount(const RLIBCSZLIST* list);
// Entry INDEX (from 0), owned by the list and valid as long as it; null when out of range.
KAVO_API const char* RLIBCSzListGet(const RLIBCSZLIST* list, int index);
// Null is ignored.
KAVO_API void RLIBCSzListFree(RLIBCSZLIST* list);

// Splits TEXT at every occurrence of the text SEPARATOR and pushes the pieces, empty ones included. The
// number of pieces, or -1 for null, an empty SEPARATOR and when memory is out.
KAVO_API int RLIBCStrSepToList(const char* text, const char* separator, RLIBCSZLIST* list);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // PLATFORM_STRING_LIST_H_
