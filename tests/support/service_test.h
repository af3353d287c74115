#ifndef TESTS_SUPPORT_SERVICE_TEST_H_
#define TESTS_SUPPORT_SERVICE_TEST_H_

#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.h"

// What a signal that killed a run is added to in its status.
inline constexpr int kKilledBy = 1000;

// How a run of the program ended.
struct RunResult {
  int status = -1;  // exit status, or kKilledBy plus the signal
  std::string out;
  std::string err;
};

// A run of the real program that is under way.
class ProgramRun {
 public:
  ProgramRun(const std::vector<std::string>& arguments, const std::filesystem::path& scratch,
             const std::map<std::string, std::string>& environment, std::optional<uid_t> as_user,
             const std::filesystem::path& program = LUMIVAULT_PROGRAM);
  ~ProgramRun();
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  pid_t pid() const { return pid_; }
  void Signal(int number) const;
  RunResult Wait();
  // What it has printed so far.
  std::string out() const;
  std::string err() const;

 private:
  pid_t pid_ = -1;
  std::filesystem::path out_;
  std::filesystem::path err_;
};

// The first child of the process, or 0: a worker of a supervisor.
pid_t ChildOf(pid_t process);

// The number that the environment has under NAME.
unsigned FromEnvironment(const char* name, unsigned otherwise);

inline constexpr uid_t kNobody = 65534;

// Everything in FILE behind its first page becomes noise.
void Damage(const std::filesystem::path& file);

// One row of a statement's result, "NULL" for a null.
using DatabaseRow = std::map<std::string, std::string>;
// The rows of a statement on the SQLite database FILE, on a connection of the test's own.
std::vector<DatabaseRow> QueryDatabase(const std::filesystem::path& file, const std::string& sql);

// The rows of a statement on the database "photo" of the server that the environment names.
std::vector<DatabaseRow> QueryServer(const std::string& sql);

// The real program on a folder of its own, with a state folder of its own.
class ServiceTest : public testing::Test {
 protected:
  using Row = DatabaseRow;

  std::filesystem::path folder() const { return dir_.path() / "photos"; }
  std::filesystem::path state() const { return dir_.path() / "state"; }
  std::filesystem::path File(const std::string& relative) const { return folder() / relative; }
  const std::filesystem::path& scratch() const { return dir_.path(); }

  // Runs use this from now on.
  void Environment(const std::string& name, const std::string& value) { environment_[name] = value; }
  void ForgetEnvironment(const std::string& name) { environment_.erase(name); }
  void AsUser(uid_t user) { user_ = user; }
  // Gives all of the test's files to nobody and runs the program as nobody from now on; false where that
  // cannot be done. An ordinary user stays who it is.
  [[nodiscard]] bool BecomeNobody();
  // Runs ignore the signals that stop programs from now on, as those of nohup.
  void IgnoreStopSignals() { ignores_stops_ = true; }
  // Runs are of a copy of the program and what belongs to it from now on; the folder of the programs.
  std::filesystem::path UseCopyOfProgram();
  // The plug-in runs SCRIPT, of the shell, after each photo that it has stored.
  void UsePreviewTool(const std::string& script) const;
  // Index and Query, and what builds on them, concern the shared tree of this folder from now on; the
  // environment of libpq names its server. The database is made empty.
  void UseSharedTree();
  bool shared() const { return shared_; }

  std::unique_ptr<ProgramRun> Start(std::vector<std::string> arguments);
  // Every command gets the state folder, unless it is told another.
  RunResult Run(std::vector<std::string> arguments);
  // `index` on the folder, with --json; a result that is no strict JSON object fails the test.
  Json::Value Index(std::vector<std::string> more = {}, int expected_status = 0);

  // What the database calls the file with this path below the folder.
  std::string Key(const std::string& path) const { return shared_ ? File(path).string() : path; }
  // The library with everything in it is gone, its files apart.
  void ForgetLibrary();

  // Statements on the folder's database.
  std::vector<Row> Query(const std::string& sql) const;
  // The rows of each, one after the other.
  std::vector<Row> QueryAll(const std::vector<std::string>& statements) const;
  std::string Value(const std::string& sql) const;

 private:
  TempDir dir_;
  // Whoever runs the tests may have settings.
  std::map<std::string, std::string> environment_{{"LUMIVAULT_CONFIG", ""},  {"LUMIVAULT_JOBS", ""},
                                                  {"LUMIVAULT_TIMEOUT", ""}, {"LUMIVAULT_WORKER_MEMORY", ""},
                                                  {"LUMIVAULT_SETTLE", ""},  {"LUMIVAULT_POLL", ""},
                                                  {"LUMIVAULT_EVENTS", ""}};
  std::optional<uid_t> user_;
  std::filesystem::path program_ = LUMIVAULT_PROGRAM;
  int runs_ = 0;
  bool ignores_stops_ = false;
  bool shared_ = false;
};

// Strictly one JSON value and nothing else; a failure fails the test.
Json::Value StrictJson(const std::string& text);

// True when CONDITION comes true within a minute; a busy machine needs some of it.
template <typename Condition>
bool Eventually(Condition&& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// What TROUBLES, a list of a report, has of FILE (a name below some folder); null when it has nothing.
Json::Value ProblemOf(const Json::Value& problems, const std::string& file);
// The reason of the failed entry for FILE, of the note about it; "" when there is none.
std::string FailureOf(const Json::Value& report, const std::string& file);
std::string NoteOf(const Json::Value& report, const std::string& file);

#endif  // TESTS_SUPPORT_SERVICE_TEST_H_
