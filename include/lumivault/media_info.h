/* The record that describes one media file, and its JSON form.
 *
 * Conventions of this and the other installed headers:
 *  1. Ownership: records and output buffers belong to the caller; the library neither allocates nor
 *     frees them unless a function says so.
 *  2. Errors: 0 or a positive value is success, -1 failure; the reason goes to syslog. No exception
 *     leaves a function, those of PhotoExiv2 apart.
 *  3. Encoding: texts are NUL-terminated bytes, UTF-8 as received; nothing here converts them.
 *  4. Units: sizes count bytes, the terminator included. Longer texts are cut, never written beyond them.
 *  5. Threads: one call at a time in a process, whatever its thread (see request_context.h). It may wait
 *     up to 30 s for a database that another process writes.
 */
#ifndef LUMIVAULT_MEDIA_INFO_H_
#define LUMIVAULT_MEDIA_INFO_H_

#include <stdint.h>

#include "lumivault/export.h"

/* Binary interface shared with separately built indexing services: order, widths and alignment are fixed and
 * the record measures 11712 bytes on every supported processor. */
typedef struct __tag_KAVO_MEDIA_INFO {
  uint32_t ID;        /* id of the row in the photo database */
  char szPath[4096];  /* full path of the file */
  char szName[255];   /* base name */
  char szDesc[4096];  /* description */
  int32_t track;      /* audio tag */
  int32_t disc;       /* audio tag */
  int32_t year;       /* audio tag */
  char szTitle[255];  /* title */
  char szAlbum[255];  /* name of the folder that holds the file; of a song, its album */
  char szArtist[255]; /* audio tag, as the next four */
  char szAlbumArtist[255];
  char szGenre[255];
  char szComposer[255];
  char szComment[255];
  char szMake[100];       /* camera make */
  char szModel[100];      /* camera model */
  char szExposure[20];    /* exposure time, as text */
  char szAperture[20];    /* aperture, as text */
  char szTakenTime[32];   /* "YYYY-MM-DD hh:mm:ss" */
  char szDate[32];        /* creation date, as text */
  char szMDate[32];       /* modification date, as text */
  float duration;         /* seconds */
  uint32_t audio_bitrate; /* bits per second */
  uint32_t frame_bitrate; /* bits per second, the whole file */
  uint32_t video_bitrate; /* bits per second */
  int32_t frame_rate_num; /* num / den frames a second */
  int32_t frame_rate_den;
  int32_t frequency;    /* audio sampling frequency, Hz */
  int32_t channel;      /* audio channels */
  int32_t resolutionX;  /* pixels */
  int32_t resolutionY;  /* pixels */
  uint64_t fileSize;    /* bytes */
  int32_t song_count;   /* audio tag, as the next seven */
  int32_t blTitleUTF16; /* 1: the tag was stored as UTF-16; so the next five */
  int32_t blArtistUTF16;
  int32_t blAlbumUTF16;
  int32_t blGenreUTF16;
  int32_t blComposerUTF16;
  int32_t blCommentUTF16;
  int32_t coverCount;        /* embedded cover pictures */
  int32_t iso;               /* ISO speed */
  char szVideoCodec[255];    /* name of the codec */
  char szContainerType[255]; /* name of the format */
  int32_t videoProfile;      /* as the codec numbers it */
  int32_t videoLevel;        /* as the codec numbers it */
  char szAudioCodec[255];    /* name of the codec */
  char szFsUUID[255];        /* UUID of the file system that holds the file */
} KAVO_MEDIA_INFO;

#ifdef __cplusplus
namespace Json {
class Value;
}

static_assert(sizeof(KAVO_MEDIA_INFO) == 11712, "the media-info record is a binary interface");
static_assert(alignof(KAVO_MEDIA_INFO) == 8, "the media-info record is a binary interface");

/* Replaces JSON by an object with one member per record field, named as the field, and "rotation" = 0 (the
 * record has no such field). The record is only read. When memory is out that is logged, and "rotation" is
 * missing. */
LUMIVAULT_API void MediaInfoObject2Json(KAVO_MEDIA_INFO& record, Json::Value& json);

/* Clears the record, then reads the fields ID to frame_rate_den back; the later ones stay zero.
 * REQUIRES: every text member is shorter than its field. Texts are copied whole, whatever their length.
 * A missing key is added to JSON as a null member and reads as 0 or an empty text, as does a member of
 * another kind; a number beyond its field is the nearest one. A JSON that is neither object nor null is
 * logged and leaves a record of zeros. */
LUMIVAULT_API void MediaInfoJson2Object(Json::Value& json, KAVO_MEDIA_INFO& record);

/* Writes 25 members to syslog (LOG_ERR), one line each, for diagnosis. A missing key is added as a null
 * member. */
LUMIVAULT_API void DumpJson(Json::Value& json);
#endif

#endif /* LUMIVAULT_MEDIA_INFO_H_ */
