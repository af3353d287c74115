#ifndef SERVICE_PROBE_RECORDED_TIME_H_
#define SERVICE_PROBE_RECORDED_TIME_H_

#include "probe/taken_time.h"

struct AVFormatContext;

// When a video was recorded, by its container. DESCRIPTOR is that of its file.
//
// A time that ends in "Z" is Universal Time, which is what containers of the MP4 and Matroska families hold,
// and becomes local time of this machine. Every other is the clock of the place, whatever its offset from
// Universal Time is, and stays: tags of telephones, the dates of AVI files. So a tag with the place's own
// clock comes before the container's time.
TakenTime RecordedTime(const AVFormatContext& format, int descriptor);

#endif  // SERVICE_PROBE_RECORDED_TIME_H_
