#include "file_counter.h"

#include "media_files.h"
#include "walk.h"

FileCounter::FileCounter(std::string folder)
    : thread_([this, folder = std::move(folder)] { Count(folder); }) {}

FileCounter::~FileCounter() {
  stop_ = true;
  thread_.join();
}

std::optional<std::size_t> FileCounter::total() const {
  if (!finished_) return std::nullopt;
  return count_.load();
}

void FileCounter::Count(const std::string& folder) {
  auto walk = Walk::Start(folder);
  if (!walk) return;
  while (const auto entry = walk->Next()) {
    if (stop_) return;
    if (entry->kind == EntryKind::kFile && MediaKindOf(entry->path)) ++count_;
  }
  finished_ = true;
}
