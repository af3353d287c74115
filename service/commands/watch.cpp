#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/number_check.h"
#include "commands/run_options.h"
#include "common/display.h"
#include "common/event_loop.h"
#include "common/signal_events.h"
#include "common/stop_signals.h"
#include "library/state_root.h"
#include "watch/library_watch.h"
#include "watch/line_output.h"
#include "watch/watch_news.h"
#include "watch/watched_libraries.h"

namespace {

using std::chrono::milliseconds;

constexpr double kMillisecondsOfSecond = 1000;
constexpr double kDefaultSettle = 0.1;
constexpr double kLongestSettle = 3600;
constexpr const char* kInotify = "inotify";
constexpr const char* kFanotify = "fanotify";
constexpr double kDefaultPoll = 300;
constexpr double kShortestPoll = 1;
constexpr double kLongestPoll = 86400;
// What is written and never closed is read when it has been quiet for so long.
constexpr milliseconds kQuiet{5'000};
constexpr milliseconds kWorkerIdle{10'000};

struct Options {
  RunOptions run;
  std::vector<std::string> folders;
  double settle = kDefaultSettle;
  double poll = kDefaultPoll;
  std::string events = kInotify;
};

milliseconds Milliseconds(double seconds) {
  return milliseconds(std::lround(seconds * kMillisecondsOfSecond));
}

class Printer : public WatchTeller {
 public:
  Printer(bool json, EventLoop& loop) : json_(json), out_(STDOUT_FILENO, loop) {}
  void Tell(const WatchNews& news) override {
    out_.Put(json_ ? JsonLine(WatchJson(news)) + "\n" : WatchText(news));
  }

 private:
  bool json_;
  LineOutput out_;
};

WatchOptions OptionsOfWatch(const Options& options) {
  const RunOptions& run = options.run;
  WatchOptions watch;
  watch.wish = {run.root, run.worker_memory, run.as_root, false, nullptr};
  watch.run = {run.workers, FileTimeout(run), run.quiet || run.json, false};
  watch.settling = {Milliseconds(options.settle), kQuiet + Milliseconds(options.settle)};
  watch.poll_interval = Milliseconds(options.poll);
  watch.worker_idle = kWorkerIdle;
  watch.by_fanotify = options.events == kFanotify;
  return watch;
}

Failure NoFolderNamed() {
  return {ExitStatus::kUsage, "no folder is named, neither here nor by library= in the file of settings"};
}

int Watch(const Options& options) {
  const bool json = options.run.json;
  if (options.folders.empty()) return ReportFailure(NoFolderNamed(), json);
  const auto root = StateRoot::Locate(options.run.root);
  if (!root) return ReportFailure(root.failure(), json);
  StopSignals signals;
  EventLoop loop;
  Printer printer(json, loop);
  WatchedLibraries libraries(printer, loop);
  for (const std::string& folder : options.folders) {
    if (const auto added = libraries.Add(folder, OptionsOfWatch(options)); !added)
      return ReportFailure(added.failure(), json);
  }
  const SignalEvents stops(signals, loop, [&](int signal) { libraries.Stop(signal); });
  while (libraries.stopped_by() == 0) loop.Turn();
  return kSignalExitBase + libraries.stopped_by();
}

}  // namespace

Runner DefineWatch(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("folder", options->folders,
                 "Folders to watch, each a library of its own; those of the settings when none is named. One "
                 "that is not there is waited for")
      ->type_name("FOLDER");
  AddWorkerOptions(app, options->run);
  app.get_option("--json")->description("Print one JSON object a line for each thing done");
  app.add_option(
         "--settle", options->settle,
         "How long a file that was closed must stay as it is before it is read, in seconds; default 0.1")
      ->type_name("SECONDS")
      ->check(NumberFrom(0.0, kLongestSettle));
  app.add_option("--poll", options->poll,
                 "How often what cannot be watched is looked at, in seconds; default 300")
      ->type_name("SECONDS")
      ->check(NumberFrom(kShortestPoll, kLongestPoll));
  app.add_option("--events", options->events,
                 "How the kernel tells what happens: inotify (the default), with a watch for each folder, or "
                 "fanotify, with one for each file system, which takes root")
      ->type_name("HOW")
      ->check(CLI::IsMember({kInotify, kFanotify}));
  return [options] { return Watch(*options); };
}
