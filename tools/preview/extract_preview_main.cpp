// kavophoto_extract_preview FILE: makes the pictures that stand for a photo or video beside it. 0, or 1 with
// one line on standard error.
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vips/vips8>

#include "base/file_descriptor.h"
#include "common/display.h"
#include "preview/picture.h"
#include "preview/preview_set.h"
#include "work/worker_identity.h"

namespace {

// What a picture may cost: a bomb ends its tool, and nothing else. Whoever starts the tool waits half a
// minute.
constexpr rlim_t kMostMemory = rlim_t{1} << 30;
constexpr std::chrono::milliseconds kMostTime{25'000};
constexpr int kWrongCommandLine = 2;

int Fail(const std::string& file, const std::string& why) {
  std::fprintf(stderr, "kavophoto_extract_preview: %s: %s\n", Visible(file).c_str(), OnOneLine(why).c_str());
  return EXIT_FAILURE;
}

void LimitOneself() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  mallopt(M_ARENA_MAX, 1);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  const rlimit memory{kMostMemory, kMostMemory};
  setrlimit(RLIMIT_AS, &memory);
#endif
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

// What lies in a folder is parsed, and its links are followed, with the rights of the folder's owner.
void BecomeOwnerOfFolder(const std::string& file) {
  if (geteuid() != 0) return;
  const std::size_t name = file.rfind('/') + 1;
  struct stat status {};
  const bool known = stat(name == 0 ? "." : file.substr(0, name).c_str(), &status) == 0;
  if (!known || (status.st_uid != 0 && !BecomeUser(status.st_uid)))
    throw std::system_error(errno, std::generic_category());
}

void StartVips() {
  // One picture at a time, and nothing of it twice.
  setenv("VIPS_CONCURRENCY", "1", 1);
  if (VIPS_INIT("kavophoto_extract_preview") != 0) throw std::runtime_error("libvips does not start");
  vips_cache_set_max(0);
  // Its remarks on damaged files; what counts is in the one line.
  g_log_set_handler(
      "VIPS", G_LOG_LEVEL_MASK, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  vips_block_untrusted_set(TRUE);
  vips_operation_block_set("VipsForeignLoadJp2k", FALSE);
  vips_operation_block_set("VipsForeignLoadJxl", FALSE);
}

int Extract(const std::string& path) {
  try {
    BecomeOwnerOfFolder(path);
    LimitOneself();
    StartVips();
    const MediaFile file = OpenMedia(path);
    StorePreviews(path, file.mode, MakePreviews(ReadPicture(file, kPreviewForms.front().side)));
    return EXIT_SUCCESS;
  } catch (const std::bad_alloc&) {
    return Fail(path, "the picture needs more memory than one may have");
  } catch (const std::system_error& error) {
    return Fail(path, error.code().message());
  } catch (const std::exception& error) {
    return Fail(path, error.what());
  }
}

// Whether the CHILD ends in time; else it is killed.
bool EndsInTime(pid_t child) {
  const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  pollfd end{process.get(), POLLIN, 0};
  // Where there are no such descriptors yet, nobody waits with a limit.
  const bool in_time = !process || poll(&end, 1, static_cast<int>(kMostTime.count())) > 0;
  if (!in_time) kill(child, SIGKILL);
  return in_time;
}

// In a process of its own: libraries crash on what is made for it, and that is to be told.
int ExtractApart(const std::string& path) {
  const pid_t child = fork();
  if (child < 0) return Fail(path, std::generic_category().message(errno));
  if (child == 0) _exit(Extract(path));
  const bool in_time = EndsInTime(child);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  if (!in_time) return Fail(path, "the picture takes too long");
  if (WIFEXITED(status) && (WEXITSTATUS(status) == EXIT_SUCCESS || WEXITSTATUS(status) == EXIT_FAILURE))
    return WEXITSTATUS(status);
  return Fail(path, "a library crashed on it");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2) return ExtractApart(argv[1]);
  std::fprintf(stderr, "usage: kavophoto_extract_preview FILE\n");
  return kWrongCommandLine;
}
