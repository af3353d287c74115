#ifndef SERVICE_RUN_PROGRESS_H_
#define SERVICE_RUN_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

#include "common/unwaiting_output.h"

// How far a run is.
struct ProgressState {
  std::size_t done = 0;
  std::optional<std::size_t> total;  // nothing while it is being counted
  std::chrono::milliseconds elapsed{};
  std::string folder;  // of the file done last, below the library
};

// "1,024 of 20,000, 712/s, 0:27 left, 2024/trip", in one line without its end.
std::string ProgressLine(const ProgressState& state);

enum class ProgressMode { kNone, kLines, kTerminal };

// kTerminal when OUT is a terminal that can redraw a line.
ProgressMode ProgressModeFor(std::FILE* out, bool quiet);

// Shows a run's progress on a terminal as one line that is redrawn at most ten times a second, elsewhere as a
// plain line every five seconds. What is not taken at once is not shown: a run waits for nobody who looks at
// it.
class Progress {
 public:
  Progress(std::FILE* out, ProgressMode mode);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  ProgressMode mode() const { return mode_; }
  // True when it is time for Show.
  bool Due() const;
  void Show(const ProgressState& state);
  // Takes the line off the terminal, before anything else is printed.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  std::chrono::milliseconds Interval() const;
  // False where it is dropped. What was taken in part is completed before anything else.
  bool Put(std::string text);

  std::FILE* out_;
  ProgressMode mode_;
  std::optional<UnwaitingOutput> output_;  // nothing for kNone
  std::string rest_;
  Clock::time_point last_ = Clock::now();
  bool drawn_ = false;
};

#endif  // SERVICE_RUN_PROGRESS_H_
