// Put in front of SQLite's opening by LD_PRELOAD: connections to a library's database get the temporary
// trigger that TRIGGER_AT_OPEN makes, as if the database refused a change. One in the file itself would not
// be taken.
#include <dlfcn.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string_view>

extern "C" __attribute__((visibility("default"))) int sqlite3_open_v2(const char* file, sqlite3** database,
                                                                      int flags, const char* vfs) {
  using Function = int (*)(const char*, sqlite3**, int, const char*);
  const int code =
      reinterpret_cast<Function>(dlsym(RTLD_NEXT, "sqlite3_open_v2"))(file, database, flags, vfs);
  const char* trigger = getenv("TRIGGER_AT_OPEN");
  const bool ours = file != nullptr && std::string_view(file).ends_with("/.KAVOHGADB");
  if (code == SQLITE_OK && trigger != nullptr && ours)
    sqlite3_exec(*database, trigger, nullptr, nullptr, nullptr);
  return code;
}
