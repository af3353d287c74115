#include "support/service_test.h"

#include <fcntl.h>
#include <grp.h>
#include <json/reader.h>
#include <libpq-fe.h>
#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr int kNotStarted = 127;
constexpr int kBusyTimeout = 10'000;  // milliseconds

void Redirect(const fs::path& file, int descriptor) {
  const int target = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  dup2(target, descriptor);
  close(target);
}

void BecomeUser(uid_t user) {
  if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) _exit(kNotStarted);
}

[[noreturn]] void Execute(const fs::path& program, const std::vector<std::string>& arguments) {
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  _exit(kNotStarted);
}

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Prepared = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Database OpenDatabase(const fs::path& file) {
  sqlite3* handle = nullptr;
  sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_busy_timeout(handle, kBusyTimeout);
  return {handle, &sqlite3_close};
}

}  // namespace

ProgramRun::ProgramRun(const std::vector<std::string>& arguments, const fs::path& scratch,
                       const std::map<std::string, std::string>& environment, std::optional<uid_t> as_user,
                       const fs::path& program)
    : out_(scratch.string() + ".out"), err_(scratch.string() + ".err") {
  pid_ = fork();
  if (pid_ != 0) return;
  Redirect("/dev/null", STDIN_FILENO);
  Redirect(out_, STDOUT_FILENO);
  Redirect(err_, STDERR_FILENO);
  signal(SIGHUP, SIG_DFL);  // whoever runs the tests may have it ignored
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  if (as_user) BecomeUser(*as_user);
  Execute(program, arguments);
}

ProgramRun::~ProgramRun() {
  if (pid_ <= 0) return;
  Signal(SIGKILL);
  Wait();
}

void ProgramRun::Signal(int number) const {
  kill(pid_, number);
}

std::string ProgramRun::out() const {
  return ReadFile(out_);
}

std::string ProgramRun::err() const {
  return ReadFile(err_);
}

RunResult ProgramRun::Wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  const int code = WIFSIGNALED(status) ? kKilledBy + WTERMSIG(status) : WEXITSTATUS(status);
  return {code, ReadFile(out_), ReadFile(err_)};
}

pid_t ChildOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::ifstream children("/proc/" + id + "/task/" + id + "/children");
  pid_t child = 0;
  children >> child;
  return child;
}

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* given = std::getenv(name);
  return given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : otherwise;
}

void Damage(const fs::path& file) {
  constexpr std::streamoff kPage = 4096;
  const auto size = static_cast<std::streamoff>(fs::file_size(file));
  std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
  out.seekp(kPage);
  out << std::string(static_cast<std::size_t>(size - kPage), '\xA5');
}

bool ServiceTest::BecomeNobody() {
  if (geteuid() != 0) return true;
  AsUser(kNobody);
  if (Run({"--version"}).status != 0) return false;
  for (const auto& entry : fs::recursive_directory_iterator(scratch())) {
    if (lchown(entry.path().c_str(), kNobody, kNobody) != 0) return false;
  }
  return chown(scratch().c_str(), kNobody, kNobody) == 0;
}

fs::path ServiceTest::UseCopyOfProgram() {
  const fs::path bin = scratch() / "copy/bin";
  fs::create_directories(bin);
  fs::copy(fs::path(LUMIVAULT_PROGRAM).parent_path() / "../share", scratch() / "copy/share",
           fs::copy_options::recursive);
  for (const fs::path program : {LUMIVAULT_PROGRAM, LUMIVAULT_WORKER})
    fs::copy_file(program, bin / program.filename());
  program_ = bin / "lumivault";
  return bin;
}

void ServiceTest::UsePreviewTool(const std::string& script) const {
  const fs::path tool = state() / "var/packages/Lumivault/target/bin/kavophoto_extract_preview";
  WriteFile(tool, "#!/bin/sh\n" + script + "\n");
  fs::permissions(tool, fs::perms::owner_all);
}

std::unique_ptr<ProgramRun> ServiceTest::Start(std::vector<std::string> arguments) {
  arguments.push_back("--root=" + state().string());
  if (ignores_stops_)
    arguments.insert(arguments.begin(), {"--ignore-signal=HUP,INT,TERM", program_.string()});
  return std::make_unique<ProgramRun>(arguments, scratch() / ("run" + std::to_string(++runs_)), environment_,
                                      user_, ignores_stops_ ? "/usr/bin/env" : program_);
}

RunResult ServiceTest::Run(std::vector<std::string> arguments) {
  return Start(std::move(arguments))->Wait();
}

void ServiceTest::UseSharedTree() {
  shared_ = true;
  fs::create_directories(folder());
  ForgetLibrary();
}

void ServiceTest::ForgetLibrary() {
  if (!shared_) {
    for (const char* suffix : {"", "-wal", "-shm"})
      fs::remove(folder() / (std::string(".KAVOHGADB") + suffix));
    return;
  }
  QueryServer("DROP SCHEMA IF EXISTS public CASCADE; CREATE SCHEMA public");
  const RunResult made = Run({"init", "--shared", folder()});
  ASSERT_EQ(made.status, 0) << made.err;
}

Json::Value ServiceTest::Index(std::vector<std::string> more, int expected_status) {
  std::vector<std::string> arguments{"index", shared_ ? "--shared" : folder().string(), "--json", "--quiet"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const RunResult result = Run(arguments);
  EXPECT_EQ(result.status, expected_status) << result.out << result.err;
  EXPECT_EQ(result.err, "");
  return StrictJson(result.out);
}

std::vector<DatabaseRow> QueryDatabase(const fs::path& file, const std::string& sql) {
  std::vector<DatabaseRow> rows;
  const Database database = OpenDatabase(file);
  sqlite3_stmt* handle = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &handle, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sql << ": " << sqlite3_errmsg(database.get());
  }
  const Prepared statement(handle, &sqlite3_finalize);
  while (handle != nullptr && sqlite3_step(handle) == SQLITE_ROW) {
    DatabaseRow& row = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(handle); ++i) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle, i));
      row[sqlite3_column_name(handle, i)] = text != nullptr ? text : "NULL";
    }
  }
  return rows;
}

std::vector<DatabaseRow> QueryServer(const std::string& sql) {
  const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(
      PQconnectdb("user=postgres dbname=photo connect_timeout=60"), &PQfinish);
  PQsetNoticeProcessor(
      connection.get(), [](void*, const char*) {}, nullptr);
  const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection.get(), sql.c_str()), &PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  EXPECT_TRUE(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
      << sql << ": " << PQerrorMessage(connection.get());
  std::vector<DatabaseRow> rows;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    DatabaseRow& values = rows.emplace_back();
    for (int i = 0; i < PQnfields(result.get()); ++i) {
      const bool null = PQgetisnull(result.get(), row, i) != 0;
      values[PQfname(result.get(), i)] = null ? "NULL" : PQgetvalue(result.get(), row, i);
    }
  }
  return rows;
}

std::vector<ServiceTest::Row> ServiceTest::Query(const std::string& sql) const {
  return shared_ ? QueryServer(sql) : QueryDatabase(folder() / ".KAVOHGADB", sql);
}

std::vector<ServiceTest::Row> ServiceTest::QueryAll(const std::vector<std::string>& statements) const {
  std::vector<Row> rows;
  for (const std::string& sql : statements) {
    const std::vector<Row> more = Query(sql);
    rows.insert(rows.end(), more.begin(), more.end());
  }
  return rows;
}

std::string ServiceTest::Value(const std::string& sql) const {
  const std::vector<Row> rows = Query(sql);
  return rows.empty() ? "" : rows.front().begin()->second;
}

Json::Value StrictJson(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  Json::Value value;
  std::string errors;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(builder, stream, &value, &errors)) << errors << "\n" << text;
  EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line expected: " << text;
  return value;
}

Json::Value ProblemOf(const Json::Value& problems, const std::string& file) {
  for (const Json::Value& problem : problems) {
    if (problem["path"].asString().ends_with("/" + file)) return problem;
  }
  return {};
}

std::string FailureOf(const Json::Value& report, const std::string& file) {
  return ProblemOf(report["failed"], file).get("reason", "").asString();
}

std::string NoteOf(const Json::Value& report, const std::string& file) {
  return ProblemOf(report["notes"], file).get("reason", "").asString();
}
