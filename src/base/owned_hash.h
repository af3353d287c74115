#ifndef BASE_OWNED_HASH_H_
#define BASE_OWNED_HASH_H_

#include <memory>

#include "platform/string_hash.h"

struct FreeHash {
  void operator()(RLIBCSZHASH* hash) const { RLIBCSzHashFree(hash); }
};

// A string hash that is freed with its owner; empty when it could not be allocated. Used by one thread at a
// time.
using OwnedHash = std::unique_ptr<RLIBCSZHASH, FreeHash>;

#endif  // BASE_OWNED_HASH_H_
