#include "platform/string_list.h"

#include <errno.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "core/error.h"

// A deque, so that a text handed out stays where it is while the list grows.
struct __tag_RLIBCSZLIST {
  std::deque<std::string> texts;
};

namespace {

int Count(const RLIBCSZLIST& list) {
  return static_cast<int>(list.texts.size());
}

int Push(RLIBCSZLIST& list, std::string_view text) {
  list.texts.emplace_back(text);
  return Count(list);
}

int Split(std::string_view text, std::string_view separator, RLIBCSZLIST& list) {
  int pieces = 1;
  for (std::size_t end = text.find(separator); end != text.npos; end = text.find(separator)) {
    Push(list, text.substr(0, end));
    text.remove_prefix(end + separator.size());
    ++pieces;
  }
  Push(list, text);
  return pieces;
}

}  // namespace

RLIBCSZLIST* RLIBCSzListAlloc(int /*size*/) {
  return WithoutExceptions<RLIBCSZLIST*>(nullptr, [] { return std::make_unique<RLIBCSZLIST>().release(); });
}

int RLIBCSzListPush(RLIBCSZLIST* list, const char* text) {
  if (list == nullptr || text == nullptr) {
    RECORD_ERROR(EINVAL);
    return -1;
  }
  return WithoutExceptions(-1, [&] { return Push(*list, text); });
}

int RLIBCSzListCount(const RLIBCSZLIST* list) {
  return list != nullptr ? Count(*list) : 0;
}

const char* RLIBCSzListGet(const RLIBCSZLIST* list, int index) {
  if (index < 0 || index >= RLIBCSzListCount(list)) return nullptr;
  return list->texts[static_cast<std::size_t>(index)].c_str();
}

void RLIBCSzListFree(RLIBCSZLIST* list) {
  const std::unique_ptr<RLIBCSZLIST> owned(list);
}

int RLIBCStrSepToList(const char* text, const char* separator, RLIBCSZLIST* list) {
  if (list == nullptr || text == nullptr || separator == nullptr || *separator == '\0') {
    RECORD_ERROR(EINVAL);
    return -1;
  }
  return WithoutExceptions(-1, [&] { return Split(text, separator, *list); });
}
