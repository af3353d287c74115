// A plug-in that does as the names of the files say, over a table of its own: what the service makes of
// workers that die, hang or refuse cannot be tried with one that is well.
#include <fcntl.h>
#include <json/value.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/database.h"
#include "work/worker_arguments.h"

#define TEST_PLUGIN_API extern "C" __attribute__((visibility("default")))

namespace {

constexpr unsigned kSlowMicroseconds = 20'000;

std::string& Database() {
  static std::string path;
  return path;
}

// PATH below the library.
std::string Key(const std::string& path) {
  return path.substr(Database().rfind('/') + 1);
}

template <typename... Values>
int Execute(const char* sql_template, const Values&... values) {
  KAVODB_CONNECTION* connection = KAVODBConnect(nullptr, nullptr, nullptr, Database().c_str());
  char* sql = KAVODBEscapeStringEX3(KAVODB_TYPE_SQLITE, sql_template, values.c_str()...);
  const int result = KAVODBExecute(connection, sql, nullptr);
  std::free(sql);
  KAVODBClose(connection);
  return result == -1 ? -1 : 0;
}

// Leaves the file that TEST_PLUGIN_HANGS names, so that a test can tell.
void Hang() {
  if (const char* marker = getenv("TEST_PLUGIN_HANGS"))
    close(open(marker, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  while (true) pause();
}

// Sends the bytes of the file that TEST_PLUGIN_SAYS names to the supervisor, as a worker that a broken file
// has taken over might.
void Speak() {
  std::ifstream file(getenv("TEST_PLUGIN_SAYS"), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  static_cast<void>(!write(kWorkerSocket, bytes.data(), bytes.size()));
  while (true) pause();
}

// Until the file that TEST_PLUGIN_GATE names is gone.
void AwaitGate() {
  constexpr unsigned kStep = 1'000;  // microseconds
  const char* gate = getenv("TEST_PLUGIN_GATE");
  while (gate != nullptr && access(gate, F_OK) == 0) usleep(kStep);
}

void Misbehave(const std::string& name) {
  const auto holds = [&](const char* word) { return name.find(word) != std::string::npos; };
  if (holds("segfault")) raise(SIGSEGV);
  if (holds("abort")) std::abort();
  if (holds("vanish")) _exit(7);
  if (holds("slow")) usleep(kSlowMicroseconds);
  if (holds("gate")) AwaitGate();
  if (holds("chatter")) {
    for (int i = 0; i < 5000; ++i) syslog(LOG_DEBUG, "photo_index.cpp:%d One line of very many.", i);
  }
  if (holds("hang")) Hang();
  if (holds("speak")) Speak();
}

int Store(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  Misbehave(name);
  if (Execute("INSERT INTO seen (path) VALUES ('@KAVO:VAR')", path) != 0) return -1;
  if (name.ends_with(".jpg") && name.find("ignore") == std::string::npos)
    Execute("INSERT OR IGNORE INTO photo_image (path) VALUES ('@KAVO:VAR')", Key(path));
  // Accepted now, refused at the commit, and with it everything in the same transaction.
  if (name.find("poison") != std::string::npos) return Execute("INSERT INTO owned VALUES (99)");
  if (name.find("refuse") == std::string::npos) return 0;
  syslog(LOG_ERR, "%s (%d) Invalid thing : %s", "photo_database.cpp", 12, "x y");
  syslog(LOG_ERR, "%s:%d Failed to save photo info.", "photo_index.cpp", 34);
  return -1;
}

}  // namespace

TEST_PLUGIN_API int HGAStatusCheck(const char* path) {
  if (const char* marker = getenv("TEST_PLUGIN_ONE_START")) {
    if (open(marker, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600) < 0) return -1;
  }
  Misbehave(getenv("TEST_PLUGIN_START") != nullptr ? getenv("TEST_PLUGIN_START") : "");
  Database() = std::string(path) + "/.KAVOHGADB";
  return Execute(
      "CREATE TABLE IF NOT EXISTS seen (path TEXT);"
      "CREATE TABLE IF NOT EXISTS photo_share (shareid INTEGER PRIMARY KEY, sharename TEXT UNIQUE, public "
      "TEXT);"
      "CREATE TABLE IF NOT EXISTS owned (album INTEGER REFERENCES photo_share (shareid) DEFERRABLE INITIALLY "
      "DEFERRED);"
      "CREATE TABLE IF NOT EXISTS photo_image (path TEXT UNIQUE, size INTEGER);"
      "CREATE TABLE IF NOT EXISTS video (path TEXT, filesize INTEGER);"
      "CREATE TABLE IF NOT EXISTS photo_config (config_key TEXT PRIMARY KEY, config_value TEXT);"
      "INSERT OR IGNORE INTO photo_share (shareid, sharename) VALUES (1, '/');");
}

TEST_PLUGIN_API int IndexAdd_Json(Json::Value* info, unsigned /*index_type*/) {
  return Store((*info)["szPath"].asString());
}

TEST_PLUGIN_API int IndexDirAdd(const char* folder) {
  const int stored = Store(folder);
  const bool is_root = Database() == std::string(folder) + "/.KAVOHGADB";
  if (stored != 0 || is_root || Key(folder).find("ignore") != std::string::npos) return stored;
  return Execute("INSERT OR IGNORE INTO photo_share (sharename, public) VALUES ('@KAVO:VAR', 't')",
                 Key(folder));
}

TEST_PLUGIN_API int IndexRename_Json(Json::Value* info, unsigned /*index_type*/, const char* old) {
  const std::string path = (*info)["szPath"].asString();
  return Execute("UPDATE photo_image SET path = '@KAVO:VAR' WHERE path = '@KAVO:VAR'", Key(path), Key(old));
}
TEST_PLUGIN_API int IndexDelete(const char* path) {
  return Execute("DELETE FROM photo_image WHERE path = '@KAVO:VAR'", Key(path));
}
// No test sends anything else.
TEST_PLUGIN_API int IndexDirRename(const char* /*new_folder*/, const char* /*old_folder*/) {
  return -1;
}
TEST_PLUGIN_API int IndexDirDelete(const char* /*folder*/) {
  return -1;
}
TEST_PLUGIN_API int IndexPreReindex(const char* /*root*/) {
  return -1;
}
TEST_PLUGIN_API int IndexReindexUpdate_Json(Json::Value* /*info*/, unsigned /*index_type*/) {
  return -1;
}
TEST_PLUGIN_API int IndexReindexDirUpdate(const char* /*folder*/) {
  return -1;
}
TEST_PLUGIN_API int IndexPostReindex(const char* /*root*/) {
  return -1;
}

TEST_PLUGIN_API int IndexDBClose() {
  return 0;
}
