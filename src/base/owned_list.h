#ifndef BASE_OWNED_LIST_H_
#define BASE_OWNED_LIST_H_

#include <memory>

#include "platform/string_list.h"

struct FreeList {
  void operator()(RLIBCSZLIST* list) const { RLIBCSzListFree(list); }
};

// A string list that is freed with its owner; empty when it could not be allocated. Used by one thread at a
// time.
using OwnedList = std::unique_ptr<RLIBCSZLIST, FreeList>;

#endif  // BASE_OWNED_LIST_H_
