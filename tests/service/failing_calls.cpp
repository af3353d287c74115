// Put in front of the system's calls by LD_PRELOAD: those that FAIL_CALL names fail with an I/O error for the
// name FAIL_NAME, which may have folders in front, as on a disk that breaks. "flock-first" is held by
// somebody else the first two times. With "-signalled" behind its name a call is made, and the process told
// to stop. "pread-locked" fails while the file is locked.
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int kNamesBeforeTheError = 4;  // "." and ".." among them

constexpr int kHeldTimes = 2;
constexpr std::size_t kBlock = std::size_t{1} << 20;

bool Fails(const std::string& call, const std::string& path) {
  const char* failing = getenv("FAIL_CALL");
  const char* name = getenv("FAIL_NAME");
  return failing != nullptr && failing == call && name != nullptr &&
         ("/" + path).ends_with(std::string("/") + name);
}

void SignalAt(const std::string& call, const std::string& path) {
  if (Fails(call + "-signalled", path)) kill(getpid(), SIGTERM);
}

std::string PathOfOpen(int descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  std::array<char, 4096> path{};
  return readlink(link.c_str(), path.data(), path.size() - 1) > 0 ? path.data() : "";
}

bool IsLocked(int descriptor) {
  const int other = open(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), O_RDONLY | O_CLOEXEC);
  const bool locked = flock(other, LOCK_EX | LOCK_NB) != 0;
  close(other);
  return locked;
}

dirent64* Read(DIR* folder, const char* next) {
  static int listed = 0;
  const std::string path = PathOfOpen(dirfd(folder));
  const bool fails =
      Fails("readdir", path) || (Fails("readdir-later", path) && ++listed > kNamesBeforeTheError);
  if (fails) {
    errno = EIO;
    return nullptr;
  }
  using Function = dirent64* (*)(DIR*);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, next))(folder);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) dirent64* readdir64(DIR* folder) {
  return Read(folder, "readdir64");
}

__attribute__((visibility("default"))) int statx(int folder, const char* path, int flags, unsigned mask,
                                                 struct statx* status) {
  if (Fails("statx", path)) {
    errno = EIO;
    return -1;
  }
  using Function = int (*)(int, const char*, int, unsigned, struct statx*);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "statx"))(folder, path, flags, mask, status);
}

__attribute__((visibility("default"))) int flock(int file, int operation) {
  static int calls = 0;
  SignalAt("flock", PathOfOpen(file));
  if (Fails("flock-first", PathOfOpen(file)) && ++calls <= kHeldTimes) {
    errno = EWOULDBLOCK;
    return -1;
  }
  using Function = int (*)(int, int);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "flock"))(file, operation);
}

__attribute__((visibility("default"))) int unlink(const char* path) {
  SignalAt("unlink", path);
  using Function = int (*)(const char*);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "unlink"))(path);
}

__attribute__((visibility("default"))) ssize_t pread64(int file, void* data, std::size_t size,
                                                       off64_t offset) {
  if (size == kBlock) {
    SignalAt("pread", PathOfOpen(file));
    if (Fails("pread-locked", PathOfOpen(file)) && IsLocked(file)) {
      errno = EIO;
      return -1;
    }
  }
  using Function = ssize_t (*)(int, void*, std::size_t, off64_t);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pread64"))(file, data, size, offset);
}

}  // extern "C"
