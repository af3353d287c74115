// Put in front of the system's calls by LD_PRELOAD: those that FAIL_CALL names fail with an I/O error for the
// name FAIL_NAME, as on a disk that breaks. "flock-first" is held by somebody else the first time.
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int kNamesBeforeTheError = 4;  // "." and ".." among them

bool Fails(const char* call, const std::string& name) {
  const char* failing = getenv("FAIL_CALL");
  const char* failing_name = getenv("FAIL_NAME");
  return failing != nullptr && failing_name != nullptr && std::string(failing) == call &&
         name == failing_name;
}

std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string NameOfOpen(int descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  std::array<char, 4096> path{};
  return readlink(link.c_str(), path.data(), path.size() - 1) > 0 ? NameOf(path.data()) : "";
}

dirent64* Read(DIR* folder, const char* next) {
  static int listed = 0;
  const std::string name = NameOfOpen(dirfd(folder));
  const bool fails =
      Fails("readdir", name) || (Fails("readdir-later", name) && ++listed > kNamesBeforeTheError);
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
  if (Fails("statx", NameOf(path))) {
    errno = EIO;
    return -1;
  }
  using Function = int (*)(int, const char*, int, unsigned, struct statx*);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "statx"))(folder, path, flags, mask, status);
}

__attribute__((visibility("default"))) int flock(int file, int operation) {
  static int calls = 0;
  if (Fails("flock-first", NameOfOpen(file)) && ++calls == 1) {
    errno = EWOULDBLOCK;
    return -1;
  }
  using Function = int (*)(int, int);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "flock"))(file, operation);
}

}  // extern "C"
