// kavophoto_extract_preview FILE: makes the pictures that stand for a photo or video beside it. 0, or 1 with
// one line on standard error; then nothing was changed.
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vips/vips8>

#include "common/display.h"
#include "preview/picture.h"
#include "preview/preview_set.h"

namespace {

// What a picture may cost: a bomb ends its tool, and nothing else.
constexpr rlim_t kMostMemory = rlim_t{1} << 30;
constexpr rlim_t kMostSeconds = 60;
constexpr int kWrongCommandLine = 2;

void LimitOneself() {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  const rlimit memory{kMostMemory, kMostMemory};
  setrlimit(RLIMIT_AS, &memory);
#endif
  const rlimit seconds{kMostSeconds, kMostSeconds};
  setrlimit(RLIMIT_CPU, &seconds);
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

bool StartVips(const char* program) {
  // One picture at a time, and nothing of it twice.
  setenv("VIPS_CONCURRENCY", "1", 1);
  if (VIPS_INIT(program) != 0) return false;
  vips_cache_set_max(0);
  // Its remarks on damaged files; what counts is in the one line.
  g_log_set_handler(
      "VIPS", G_LOG_LEVEL_MASK, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  vips_block_untrusted_set(TRUE);
  vips_operation_block_set("VipsForeignLoadJp2k", FALSE);
  vips_operation_block_set("VipsForeignLoadJxl", FALSE);
  return true;
}

int Fail(const std::string& file, const std::string& why) {
  std::fprintf(stderr, "kavophoto_extract_preview: %s: %s\n", Visible(file).c_str(), OnOneLine(why).c_str());
  return EXIT_FAILURE;
}

int Extract(const std::string& file) {
  try {
    const vips::VImage largest = ReadPicture(OpenMedia(file), kPreviewForms.front().side);
    StorePreviews(file, MakePreviews(largest));
    return EXIT_SUCCESS;
  } catch (const std::bad_alloc&) {
    return Fail(file, "the picture needs more memory than one may have");
  } catch (const std::exception& error) {
    return Fail(file, error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kavophoto_extract_preview FILE\n");
    return kWrongCommandLine;
  }
  LimitOneself();
  if (!StartVips(*argv)) return Fail(argv[1], "libvips does not start");
  return Extract(argv[1]);
}
