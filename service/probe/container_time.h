// When a picture was made, as its container tells it beside its metadata.
#ifndef SERVICE_PROBE_CONTAINER_TIME_H_
#define SERVICE_PROBE_CONTAINER_TIME_H_

#include <optional>

#include "probe/taken_time.h"

// Of the file that is open as DESCRIPTOR: a PNG's text "Creation Time" ("2019-03-04 10:11:12" or "Mon, 04 Mar
// 2019 10:11:12 GMT"), as it stands there; the creation time of a HEIF picture or of the film that lies in
// the same file, which is Coordinated Universal Time and becomes the local time of this machine. Nothing for
// others.
[[nodiscard]] std::optional<ReadTime> ContainerTime(int descriptor);

#endif  // SERVICE_PROBE_CONTAINER_TIME_H_
