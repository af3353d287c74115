#include "run/run_progress.h"

#include <utility>

RunProgress::RunProgress(std::string folder, bool quiet)
    : folder_(std::move(folder)), line_(stderr, ProgressModeFor(stderr, quiet)) {}

void RunProgress::Begin() {
  if (!total_ && line_.mode() != ProgressMode::kNone) counter_ = std::make_unique<FileCounter>(folder_);
}

void RunProgress::End() {
  counter_.reset();
  total_.reset();
}

void RunProgress::NoteDone(const WorkItem& item) {
  // The counter counts files alone.
  if (item.kind == ItemKind::kFolder && counter_) return;
  ++done_;
  const std::size_t slash = item.path.rfind('/');
  const std::size_t root = folder_.size();
  current_ = slash > root ? item.path.substr(root + 1, slash - root - 1) : "";
}

void RunProgress::ShowWhenDue() {
  if (line_.Due()) line_.Show({done_, counter_ ? counter_->total() : total_, Elapsed(), current_});
}

std::chrono::milliseconds RunProgress::Elapsed() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
}
