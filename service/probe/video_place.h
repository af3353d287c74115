#ifndef SERVICE_PROBE_VIDEO_PLACE_H_
#define SERVICE_PROBE_VIDEO_PLACE_H_

#include <string>
#include <string_view>

struct AVFormatContext;

// Where a video was recorded, by the tags of its container, as the text of the column "gps"
// ({"lat":"48.857700","lng":"2.295000"}); "" where they do not tell.
std::string VideoPlace(const AVFormatContext& format);

// The same for a text in the form of ISO 6709: degrees ("+48.8577+002.2950/"), with minutes
// ("+4851.462+00217.700/") or seconds ("+485127.7+0021742.0/"), then whatever follows. "" for other texts,
// for what is nowhere on earth, and for 0, 0: telephones write that when they do not know.
std::string PlaceOfIso6709(std::string_view text);

#endif  // SERVICE_PROBE_VIDEO_PLACE_H_
