// Members of a media object as the conversion to a record and the dump read them.
//
// Unlike the readers of base/json_value.h these change the object: a member that is missing is there as null
// afterwards, which callers of the two can see. What is no object at all throws. Numbers then read as
// everywhere. A text is one only when the member is a string, because a record's field has the room that its
// caller's strings need, which a number's digits may not fit.
#ifndef PHOTO_UTIL_INSERTING_READER_H_
#define PHOTO_UTIL_INSERTING_READER_H_

#include <json/value.h>

#include "base/json_value.h"

// Used by one thread, which has the object to itself.
class InsertingReader {
 public:
  // OBJECT outlives the reader.
  explicit InsertingReader(Json::Value& object) : object_(object) {}

  // Owned by the object; "" for another kind.
  const char* Text(const char* key) const {
    const Json::Value& member = object_[key];
    return member.isString() ? member.asCString() : "";
  }
  int Int(const char* key) const { return JsonInt(WithMember(key), key); }
  unsigned UInt(const char* key) const { return JsonUInt(WithMember(key), key); }
  float Float(const char* key) const { return static_cast<float>(JsonDouble(WithMember(key), key)); }

 private:
  const Json::Value& WithMember(const char* key) const {
    static_cast<void>(object_[key]);
    return object_;
  }

  Json::Value& object_;
};

#endif  // PHOTO_UTIL_INSERTING_READER_H_
