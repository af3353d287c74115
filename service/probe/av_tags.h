#ifndef SERVICE_PROBE_AV_TAGS_H_
#define SERVICE_PROBE_AV_TAGS_H_

#include <string_view>

extern "C" {
#include <libavutil/dict.h>
}

// The value of tag KEY, in any letter case; empty without it.
inline std::string_view AvTag(const AVDictionary* tags, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(tags, key, nullptr, 0);
  return entry != nullptr ? entry->value : std::string_view();
}

#endif  // SERVICE_PROBE_AV_TAGS_H_
