#include "run/progress.h"

#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "common/display.h"
#include "common/grouped.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRedraw{100};
constexpr milliseconds kLine{5000};
// Rates over less than this say nothing.
constexpr milliseconds kFirstRate{1000};
constexpr std::size_t kUsualWidth = 80;
constexpr long kSecondsOfMinute = 60;
constexpr long kSecondsOfHour = 3600;
constexpr long kFirstOfTwoDigits = 10;

std::string TwoDigits(long number) {
  return (number < kFirstOfTwoDigits ? "0" : "") + std::to_string(number);
}

// "0:07", "12:30", "1:05:00".
std::string Duration(long seconds) {
  const std::string minutes = std::to_string(seconds / kSecondsOfMinute);
  const std::string rest = ":" + TwoDigits(seconds % kSecondsOfMinute);
  if (seconds < kSecondsOfHour) return minutes + rest;
  const long minutes_of_hour = seconds % kSecondsOfHour / kSecondsOfMinute;
  return std::to_string(seconds / kSecondsOfHour) + ":" + TwoDigits(minutes_of_hour) + rest;
}

std::string Remaining(const ProgressState& state, double rate) {
  if (!state.total) return "counting...";
  const std::size_t left = *state.total - std::min(*state.total, state.done);
  return Duration(std::lround(static_cast<double>(left) / rate)) + " left";
}

std::size_t Width(std::FILE* out) {
  winsize size{};
  const bool known = ioctl(fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : kUsualWidth;
}

}  // namespace

std::string ProgressLine(const ProgressState& state) {
  std::string line = Grouped(state.done);
  // Files may appear after they were counted: never more done than there are.
  if (state.total) line += " of " + Grouped(std::max(*state.total, state.done));
  const double seconds = std::chrono::duration<double>(state.elapsed).count();
  if (state.elapsed >= kFirstRate && state.done > 0) {
    const double rate = static_cast<double>(state.done) / seconds;
    line += ", " + Grouped(static_cast<std::size_t>(std::lround(rate))) + "/s, " + Remaining(state, rate);
  } else if (!state.total) {
    line += ", counting...";
  }
  if (!state.folder.empty()) line += ", " + Visible(state.folder);
  return line;
}

ProgressMode ProgressModeFor(std::FILE* out, bool quiet) {
  if (quiet) return ProgressMode::kNone;
  const char* terminal = getenv("TERM");
  const bool dumb = terminal == nullptr || *terminal == '\0' || std::string_view(terminal) == "dumb";
  return isatty(fileno(out)) != 0 && !dumb ? ProgressMode::kTerminal : ProgressMode::kLines;
}

Progress::Progress(std::FILE* out, ProgressMode mode) : out_(out), mode_(mode) {
  if (mode != ProgressMode::kNone) output_.emplace(fileno(out));
}

milliseconds Progress::Interval() const {
  return mode_ == ProgressMode::kTerminal ? kRedraw : kLine;
}

bool Progress::Due() const {
  return mode_ != ProgressMode::kNone && Clock::now() - last_ >= Interval();
}

void Progress::Show(const ProgressState& state) {
  last_ = Clock::now();
  const std::string line = ProgressLine(state);
  if (mode_ == ProgressMode::kTerminal) {
    if (Put("\r" + Fitted(line, Width(out_) - 1) + "\033[K")) drawn_ = true;
  } else if (mode_ == ProgressMode::kLines) {
    Put("lumivault: " + line + "\n");
  }
}

void Progress::Clear() {
  if (std::exchange(drawn_, false)) Put("\r\033[K");
}

bool Progress::Put(std::string text) {
  if (!rest_.empty()) {
    rest_.erase(0, output_->Write(rest_).value_or(rest_.size()));
    if (!rest_.empty()) return false;
  }
  const std::size_t taken = output_->Write(text).value_or(0);
  if (taken > 0) rest_ = text.erase(0, taken);
  return taken > 0;
}
