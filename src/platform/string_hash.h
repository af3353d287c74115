// A map from text to text that keeps the order of insertion, owned by whoever allocated it, used by one
// thread at a time.
#ifndef PLATFORM_STRING_HASH_H_
#define PLATFORM_STRING_HASH_H_

#include "platform/api.h"

extern "C" {

typedef struct __tag_RLIBCSZHASH RLIBCSZHASH;

// BUCKETS is the number of entries to make room for. Null when memory is out.
KAVO_API RLIBCSZHASH* RLIBCSzHashAlloc(int buckets);
// Sets or replaces; a replaced entry keeps its place. 0 or -1.
KAVO_API int RLIBCSzHashSetValue(RLIBCSZHASH* hash, const char* key, const char* value);
// Owned by the hash, valid until the entry changes; null when absent.
KAVO_API const char* RLIBCSzHashGetValue(const RLIBCSZHASH* hash, const char* key);
// 0, or -1 when absent.
KAVO_API int RLIBCSzHashRemoveKey(RLIBCSZHASH* hash, const char* key);
KAVO_API int RLIBCSzHashCount(const RLIBCSZHASH* hash);
// Entry INDEX (from 0) in insertion order. 0, or -1 when out of range.
KAVO_API int RLIBCSzHashAt(const RLIBCSZHASH* hash, int index, const char** key, const char** value);
KAVO_API void RLIBCSzHashFree(RLIBCSZHASH* hash);

}  // extern "C"

#endif  // PLATFORM_STRING_HASH_H_
