#include "process_peak.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kSampleInterval = std::chrono::milliseconds(20);
constexpr double kKibPerMib = 1024;

// The value of a "Name:   1234 kB" line of a file in /proc; 0 when the process is gone.
double Kib(const std::string& file, const std::string& name) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind(name, 0) == 0) return std::atof(line.c_str() + name.size());
  }
  return 0;
}

std::vector<pid_t> WithChildren(pid_t pid) {
  std::vector<pid_t> all = {pid};
  for (std::size_t i = 0; i < all.size(); ++i) {
    const std::string id = std::to_string(all[i]);
    std::ifstream stream("/proc/" + id + "/task/" + id + "/children");
    for (pid_t child; stream >> child;) all.push_back(child);
  }
  return all;
}

void Sample(pid_t pid, ProgramRun& run) {
  double sum = 0;
  for (const pid_t process : WithChildren(pid)) {
    const std::string folder = "/proc/" + std::to_string(process);
    sum += Kib(folder + "/smaps_rollup", "Pss:");
    run.largest_mib = std::max(run.largest_mib, Kib(folder + "/status", "VmHWM:") / kKibPerMib);
  }
  run.peak_mib = std::max(run.peak_mib, sum / kKibPerMib);
}

[[noreturn]] void Become(const std::vector<std::string>& command) {
  const int null = open("/dev/null", O_RDWR);
  dup2(null, STDIN_FILENO);
  dup2(null, STDOUT_FILENO);
  dup2(null, STDERR_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments.front(), arguments.data());
  _exit(127);
}

}  // namespace

double SecondsOf(const std::vector<std::string>& command) {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) Become(command);
  int status = 0;
  waitpid(pid, &status, 0);
  if (status != 0) throw std::runtime_error(command.front() + " failed");
  return std::chrono::duration<double>(Clock::now() - start).count();
}

ProgramRun RunAndWatch(const std::vector<std::string>& command) {
  ProgramRun run;
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) Become(command);
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    Sample(pid, run);
    std::this_thread::sleep_for(kSampleInterval);
  }
  run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

ProgramRun RunAndWatchIndex(const std::vector<std::string>& command) {
  constexpr int kDone = 0;
  constexpr int kSomeFailed = 3;
  const ProgramRun run = RunAndWatch(command);
  if (run.status != kDone && run.status != kSomeFailed) throw std::runtime_error("the index run failed");
  return run;
}
