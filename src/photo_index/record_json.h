#ifndef PHOTO_INDEX_RECORD_JSON_H_
#define PHOTO_INDEX_RECORD_JSON_H_

#include <json/value.h>

#include "base/export_guard.h"
#include "base/log.h"
#include "lumivault/media_info.h"
#include "photo_index/arguments.h"

// Runs the JSON form of an entry point, CALL(Json::Value*), on RECORD; the value lives for the call. A null
// record is a bad parameter.
template <typename Call>
int CallWithJson(KAVO_MEDIA_INFO* record, Call&& call) noexcept {
  return Guarded(kPhotoIndexSource, -1, [&] {
    if (IsMissing(record)) return -1;
    Json::Value info;
    MediaInfoObject2Json(*record, info);
    // The last member is missing when the conversion broke off, which it has logged: half a record would
    // overwrite a whole row.
    if (!info.isMember("rotation")) return -1;
    return call(&info);
  });
}

#endif  // PHOTO_INDEX_RECORD_JSON_H_
