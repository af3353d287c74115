/* A program that was built without any header of ours, from the names and types of the interface alone: the
 * record is declared here once more, the entry points are resolved by name. Adds a photo and a video, prints
 * what their rows tell, and sends both as gone.
 *
 *   abi_stranger LIBRARY PHOTO VIDEO */
#include <dlfcn.h>
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct media_info {
  uint32_t ID;
  char szPath[4096], szName[255], szDesc[4096];
  int32_t track, disc, year;
  char szTitle[255], szAlbum[255], szArtist[255], szAlbumArtist[255], szGenre[255], szComposer[255];
  char szComment[255], szMake[100], szModel[100], szExposure[20], szAperture[20];
  char szTakenTime[32], szDate[32], szMDate[32];
  float duration;
  uint32_t audio_bitrate, frame_bitrate, video_bitrate;
  int32_t frame_rate_num, frame_rate_den, frequency, channel, resolutionX, resolutionY;
  uint64_t fileSize;
  int32_t song_count, blTitleUTF16, blArtistUTF16, blAlbumUTF16, blGenreUTF16, blComposerUTF16;
  int32_t blCommentUTF16, coverCount, iso;
  char szVideoCodec[255], szContainerType[255];
  int32_t videoProfile, videoLevel;
  char szAudioCodec[255], szFsUUID[255];
};

enum { kRecordSize = 11712, kFolderKind = 1, kVideo = 1, kPhoto = 2 };

struct entry_points {
  int (*IndexAdd)(struct media_info*, unsigned);
  int (*IndexDelete)(const char*);
  int (*IndexDBGetOne)(int, const char*, struct media_info*);
  int (*IndexDBClose)(void);
};

static int resolve(void* library, const char* name, void* function) {
  void* symbol = dlsym(library, name);
  memcpy(function, &symbol, sizeof symbol);
  return symbol != NULL;
}

static int resolve_all(void* library, struct entry_points* index) {
  return resolve(library, "IndexAdd", &index->IndexAdd) &&
         resolve(library, "IndexDelete", &index->IndexDelete) &&
         resolve(library, "IndexDBGetOne", &index->IndexDBGetOne) &&
         resolve(library, "IndexDBClose", &index->IndexDBClose);
}

/* Members from both ends of the record, and those that stand next to its gaps. */
static void describe(struct media_info* info, const char* path) {
  memset(info, 0, sizeof *info);
  snprintf(info->szPath, sizeof info->szPath, "%s", path);
  snprintf(info->szTitle, sizeof info->szTitle, "Quay");
  snprintf(info->szTakenTime, sizeof info->szTakenTime, "2024-05-17 12:34:56");
  info->duration = 17;
  info->resolutionX = 64;
  info->resolutionY = 48;
  info->fileSize = 5000000000;
  snprintf(info->szContainerType, sizeof info->szContainerType, "mp4");
  info->videoProfile = 77;
  snprintf(info->szAudioCodec, sizeof info->szAudioCodec, "aac");
}

static int add(const struct entry_points* index, int kind, const char* path) {
  static struct media_info info, row;
  describe(&info, path);
  memset(&row, 0xA5, sizeof row);
  if (index->IndexAdd(&info, kFolderKind) != 0) return 0;
  if (index->IndexDBGetOne(kind, path, &row) != 0) return 0;
  printf("%s, %dx%d", row.szTitle, (int)row.resolutionX, (int)row.resolutionY);
  if (kind == kPhoto) printf(", %s, taken %s\n", row.szName, row.szTakenTime);
  if (kind == kVideo) {
    printf(", %.0f s, %" PRIu64 " bytes, %s, profile %d, %s\n", (double)row.duration, row.fileSize,
           row.szContainerType, (int)row.videoProfile, row.szAudioCodec);
  }
  return 1;
}

/* A file that is gone has no row. */
static int forget(const struct entry_points* index, int kind, const char* path) {
  static struct media_info row;
  return remove(path) == 0 && index->IndexDelete(path) == 0 && index->IndexDBGetOne(kind, path, &row) == -1;
}

int main(int argc, char** argv) {
  struct entry_points index;
  void* library;
  int done;

  if (argc != 4 || sizeof(struct media_info) != kRecordSize) return 2;
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL || !resolve_all(library, &index)) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  done = add(&index, kPhoto, argv[2]) && add(&index, kVideo, argv[3]) && forget(&index, kPhoto, argv[2]) &&
         forget(&index, kVideo, argv[3]) && index.IndexDBClose() == 0;
  dlclose(library);
  return done ? 0 : 1;
}
