// The real program watches a folder in which photos are made.
#ifndef TESTS_SERVICE_WATCH_RUN_FIXTURE_H_
#define TESTS_SERVICE_WATCH_RUN_FIXTURE_H_

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

#include "support/watch_test.h"
#include "watch/fanotify_source.h"

inline constexpr int kTerminated = 128 + SIGTERM;

inline void Pause(std::chrono::milliseconds time) {
  std::this_thread::sleep_for(time);
}

// How often PROCESS has gone to sleep of itself.
inline std::string Sleeps(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("voluntary_ctxt_switches")) return line;
  }
  return "";
}

// What PROCESS has used of a processor.
inline std::chrono::milliseconds ProcessorTime(pid_t process) {
  constexpr int kFieldsBefore = 11;  // between the name and the times
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  std::string skipped;
  for (int i = 0; i < kFieldsBefore; ++i) fields >> skipped;
  long user = 0;
  long system = 0;
  fields >> user >> system;
  return std::chrono::milliseconds((user + system) * 1'000 / sysconf(_SC_CLK_TCK));
}

class WatchRunTest : public WatchTest {
 protected:
  void Photo(const std::string& path) {
    MakeJpeg(File(path), 8, 8, {{"Exif.Image.Make", "m" + std::to_string(++photos_)}});
  }
  void Photos(const std::string& in, int count) {
    for (int i = 0; i < count; ++i)
      Photo((std::filesystem::path(in) / (std::to_string(i) + ".jpg")).string());
  }
  std::string IdOf(const std::string& path) const {
    return Value("SELECT id FROM photo_image WHERE path = '" + path + "'");
  }
  std::string Rows() const { return Value("SELECT count(*) FROM photo_image"); }
  void ExpectNothingToDo() {
    const Json::Value report = Index();
    for (const char* work : {"added", "folders", "moved", "deleted"})
      EXPECT_EQ(report[work].asUInt(), 0U) << work;
  }
  // It may wake up within this TIME, and does not turn without end.
  void ExpectIdle(std::chrono::milliseconds time = std::chrono::milliseconds(1'000)) const {
    const std::chrono::milliseconds before = ProcessorTime(watch_->pid());
    Pause(time);
    EXPECT_LE((ProcessorTime(watch_->pid()) - before).count(), time.count() / 10);
  }
  // It has not woken up for a while. What others mount wakes it.
  bool IsAsleep() const {
    const std::string before = Sleeps(watch_->pid());
    const std::chrono::milliseconds used = ProcessorTime(watch_->pid());
    Pause(std::chrono::milliseconds(1'500));
    return Sleeps(watch_->pid()) == before &&
           ProcessorTime(watch_->pid()) <= used + std::chrono::milliseconds(20);
  }
  // Which news there are of runs in which NAME failed, and was not known to.
  std::size_t NewFailures(const std::string& name) const {
    std::size_t count = 0;
    for (const Json::Value& run : News("run")) {
      const Json::Value& failed = ProblemOf(run["failed"], name);
      if (!failed.isNull() && !failed["known"].asBool()) ++count;
    }
    return count;
  }
  // The library goes where nobody looks for it, and comes back.
  std::filesystem::path Aside() const { return scratch() / "aside"; }
  bool IsAway() {
    return Eventually([&] { return !News("away").empty(); });
  }
  bool IsBack(std::size_t times = 2) {
    return Eventually([&] { return News("watching").size() >= times; });
  }

 private:
  int photos_ = 0;
};

// Where one mark stands for all folders.
class MarkedRunTest : public WatchRunTest {
 protected:
  void SetUp() override {
    if (const auto usable = FanotifySource::Try(folder()); !usable) GTEST_SKIP() << usable.failure().message;
  }
  void WatchMarked() { Watch({"--events", "fanotify"}); }
};

#endif  // TESTS_SERVICE_WATCH_RUN_FIXTURE_H_
