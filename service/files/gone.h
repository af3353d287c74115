#ifndef SERVICE_FILES_GONE_H_
#define SERVICE_FILES_GONE_H_

#include <string>

#include "common/item_kind.h"

// What was at this absolute path is not there any more, for sure: only "there is no such name" says so, or a
// file where a folder was, or the other way round.
bool IsGone(const std::string& path, ItemKind kind);

#endif  // SERVICE_FILES_GONE_H_
