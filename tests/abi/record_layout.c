/* Where every field of the exchanged records stands, and how wide it is: on the appliance's 32-bit processor
 * and on 64-bit ones. Separately built programs have these numbers compiled in. Compiled as C and as C++. */
#include <stddef.h>

#include "lumivault/media_info.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"

#ifdef __cplusplus
#define ASSERT_LAYOUT(condition, text) static_assert(condition, text)
#define SIZE_OF_FIELD(record, field) sizeof(record::field)
#else
#define ASSERT_LAYOUT(condition, text) _Static_assert(condition, text)
#define SIZE_OF_FIELD(record, field) sizeof(((record*)0)->field)
#endif

#define FIELD(record, field, offset, size)                                                     \
  ASSERT_LAYOUT(offsetof(record, field) == (offset) && SIZE_OF_FIELD(record, field) == (size), \
                #record "." #field " has moved")

FIELD(KAVO_MEDIA_INFO, ID, 0, 4);
FIELD(KAVO_MEDIA_INFO, szPath, 4, 4096);
FIELD(KAVO_MEDIA_INFO, szName, 4100, 255);
FIELD(KAVO_MEDIA_INFO, szDesc, 4355, 4096);
FIELD(KAVO_MEDIA_INFO, track, 8452, 4);
FIELD(KAVO_MEDIA_INFO, disc, 8456, 4);
FIELD(KAVO_MEDIA_INFO, year, 8460, 4);
FIELD(KAVO_MEDIA_INFO, szTitle, 8464, 255);
FIELD(KAVO_MEDIA_INFO, szAlbum, 8719, 255);
FIELD(KAVO_MEDIA_INFO, szArtist, 8974, 255);
FIELD(KAVO_MEDIA_INFO, szAlbumArtist, 9229, 255);
FIELD(KAVO_MEDIA_INFO, szGenre, 9484, 255);
FIELD(KAVO_MEDIA_INFO, szComposer, 9739, 255);
FIELD(KAVO_MEDIA_INFO, szComment, 9994, 255);
FIELD(KAVO_MEDIA_INFO, szMake, 10249, 100);
FIELD(KAVO_MEDIA_INFO, szModel, 10349, 100);
FIELD(KAVO_MEDIA_INFO, szExposure, 10449, 20);
FIELD(KAVO_MEDIA_INFO, szAperture, 10469, 20);
FIELD(KAVO_MEDIA_INFO, szTakenTime, 10489, 32);
FIELD(KAVO_MEDIA_INFO, szDate, 10521, 32);
FIELD(KAVO_MEDIA_INFO, szMDate, 10553, 32);
FIELD(KAVO_MEDIA_INFO, duration, 10588, 4);
FIELD(KAVO_MEDIA_INFO, audio_bitrate, 10592, 4);
FIELD(KAVO_MEDIA_INFO, frame_bitrate, 10596, 4);
FIELD(KAVO_MEDIA_INFO, video_bitrate, 10600, 4);
FIELD(KAVO_MEDIA_INFO, frame_rate_num, 10604, 4);
FIELD(KAVO_MEDIA_INFO, frame_rate_den, 10608, 4);
FIELD(KAVO_MEDIA_INFO, frequency, 10612, 4);
FIELD(KAVO_MEDIA_INFO, channel, 10616, 4);
FIELD(KAVO_MEDIA_INFO, resolutionX, 10620, 4);
FIELD(KAVO_MEDIA_INFO, resolutionY, 10624, 4);
FIELD(KAVO_MEDIA_INFO, fileSize, 10632, 8);
FIELD(KAVO_MEDIA_INFO, song_count, 10640, 4);
FIELD(KAVO_MEDIA_INFO, blTitleUTF16, 10644, 4);
FIELD(KAVO_MEDIA_INFO, blArtistUTF16, 10648, 4);
FIELD(KAVO_MEDIA_INFO, blAlbumUTF16, 10652, 4);
FIELD(KAVO_MEDIA_INFO, blGenreUTF16, 10656, 4);
FIELD(KAVO_MEDIA_INFO, blComposerUTF16, 10660, 4);
FIELD(KAVO_MEDIA_INFO, blCommentUTF16, 10664, 4);
FIELD(KAVO_MEDIA_INFO, coverCount, 10668, 4);
FIELD(KAVO_MEDIA_INFO, iso, 10672, 4);
FIELD(KAVO_MEDIA_INFO, szVideoCodec, 10676, 255);
FIELD(KAVO_MEDIA_INFO, szContainerType, 10931, 255);
FIELD(KAVO_MEDIA_INFO, videoProfile, 11188, 4);
FIELD(KAVO_MEDIA_INFO, videoLevel, 11192, 4);
FIELD(KAVO_MEDIA_INFO, szAudioCodec, 11196, 255);
FIELD(KAVO_MEDIA_INFO, szFsUUID, 11451, 255);
ASSERT_LAYOUT(sizeof(KAVO_MEDIA_INFO) == 11712, "KAVO_MEDIA_INFO has another size");

FIELD(KAVO_PHOTO_SHARE_INFO, shareId, 0, 4);
FIELD(KAVO_PHOTO_SHARE_INFO, szAlbumPath, 4, 4096);
FIELD(KAVO_PHOTO_SHARE_INFO, szShareName, 4100, 4096);
FIELD(KAVO_PHOTO_SHARE_INFO, szRightsShareName, 8196, 4096);
FIELD(KAVO_PHOTO_SHARE_INFO, szReserved, 12292, 4096);
FIELD(KAVO_PHOTO_SHARE_INFO, isPublic, 16388, 4);
FIELD(KAVO_PHOTO_SHARE_INFO, isSubdir, 16392, 4);
ASSERT_LAYOUT(sizeof(KAVO_PHOTO_SHARE_INFO) == 16396, "KAVO_PHOTO_SHARE_INFO has another size");

FIELD(HGA_INFORMATION, isHGARequest, 0, 4);
FIELD(HGA_INFORMATION, isUserPhotoRoot, 4, 4);
FIELD(HGA_INFORMATION, szUserName, 8, 492);
FIELD(HGA_INFORMATION, szPhotoDir, 500, 4095);
FIELD(HGA_INFORMATION, szDBPath, 4595, 4095);
FIELD(HGA_INFORMATION, szRequestPath, 8690, 4095);
FIELD(HGA_INFORMATION, userPhotoPathLen, 12788, 4);
ASSERT_LAYOUT(sizeof(HGA_INFORMATION) == 12792, "HGA_INFORMATION has another size");

/* Pointers make the cursor as wide as the processor. */
ASSERT_LAYOUT(sizeof(void*) == 4 || sizeof(void*) == 8, "neither 32 nor 64 bits");
FIELD(MEDIA_DB_HANDLER, connection, 0, sizeof(void*));
FIELD(MEDIA_DB_HANDLER, result, sizeof(void*) == 4 ? 4 : 8, sizeof(void*));
FIELD(MEDIA_DB_HANDLER, row, sizeof(void*) == 4 ? 8 : 16, sizeof(void*));
FIELD(MEDIA_DB_HANDLER, count, sizeof(void*) == 4 ? 12 : 24, 4);
FIELD(MEDIA_DB_HANDLER, type, sizeof(void*) == 4 ? 16 : 28, 4);
ASSERT_LAYOUT(sizeof(MEDIA_DB_HANDLER) == (sizeof(void*) == 4 ? 20 : 32),
              "MEDIA_DB_HANDLER has another size");
