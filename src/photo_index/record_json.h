#ifndef PHOTO_INDEX_RECORD_JSON_H_
#define PHOTO_INDEX_RECORD_JSON_H_

#include <json/value.h>

#include "base/export_guard.h"
#include "base/log.h"
#include "lumivault/media_info.h"

// Runs the JSON form of an entry point, CALL(Json::Value*), on RECORD; the value lives for the call. A null
// record is a bad parameter.
template <typename Call>
int CallWithJson(KAVO_MEDIA_INFO* record, Call&& call) noexcept {
  return Guarded(kPhotoIndexSource, -1, [&] {
    if (record == nullptr) {
      LOG_AT(kPhotoIndexSource, "Bad parameter.");
      return -1;
    }
    Json::Value info;
    MediaInfoObject2Json(*record, info);
    return call(&info);
  });
}

#endif  // PHOTO_INDEX_RECORD_JSON_H_
