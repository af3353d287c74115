#include "index_run.h"

#include <algorithm>
#include <utility>

#include "base/limits.h"
#include "display.h"
#include "media_files.h"
#include "work_queue.h"

namespace {

// Why FOLDER cannot be an album, which is named by its path below LIBRARY; nullptr when it can.
const char* NoAlbumReason(const std::string& folder, const std::string& library) {
  const std::string name = folder.substr(std::min(folder.size(), library.size() + 1));
  if (name.size() >= kNameSize) return "folder name too long for an album";
  return ValidUtf8(name) == name ? nullptr : "folder name is not UTF-8";
}

}  // namespace

IndexRun::IndexRun(IndexOptions options, const Library& library, StopSignals& signals)
    : options_(std::move(options)),
      signals_(signals),
      progress_(stderr, ProgressModeFor(stderr, options_.quiet)) {
  report_.library = library;
}

Outcome<Done> IndexRun::Run() {
  auto walk = Walk::Start(report_.library.folder);
  if (!walk) return walk.failure();
  if (progress_.mode() != ProgressMode::kNone) {
    counter_ = std::make_unique<FileCounter>(report_.library.folder);
  }
  WorkQueue queue([&] { return NextItem(*walk, report_); });
  Supervisor supervisor({options_.plugin, report_.library.folder, options_.workers, options_.file_timeout},
                        queue, *this, signals_);
  auto outcome = supervisor.Run();
  progress_.Clear();
  counter_.reset();
  stopped_by_ = supervisor.stopped_by();
  report_.interrupted = stopped_by_ != 0;
  report_.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
  return outcome;
}

std::optional<WorkItem> IndexRun::NextItem(Walk& walk, IndexReport& report) {
  while (auto entry = walk.Next()) {
    switch (entry->kind) {
      case EntryKind::kFolder:
        if (const char* reason = NoAlbumReason(entry->path, report.library.folder)) {
          ++report.skipped[reason];
          break;
        }
        return WorkItem{ItemKind::kFolder, std::move(entry->path)};
      case EntryKind::kSkipped:
        ++report.skipped[entry->reason];
        break;
      case EntryKind::kFailed:
        report.failed.push_back({std::move(entry->path), std::move(entry->reason), false});
        break;
      case EntryKind::kFile:
        if (const auto kind = MediaKindOf(entry->path)) {
          ++report.found;
          return WorkItem{*kind, std::move(entry->path)};
        }
        ++report.skipped["not a photo or video"];
    }
  }
  return std::nullopt;
}

void IndexRun::ItemDone(const WorkItem& item, const ItemResult& result) {
  const bool folder = item.kind == ItemKind::kFolder;
  if (!result.stored || !result.trouble.empty()) {
    report_.failed.push_back({item.path, result.trouble, result.stored});
  } else {
    ++(folder ? report_.folders : report_.added);
  }
  if (folder) return;
  ++files_done_;
  const std::size_t slash = item.path.rfind('/');
  const std::size_t root = report_.library.folder.size();
  current_folder_ = slash > root ? item.path.substr(root + 1, slash - root - 1) : "";
}

void IndexRun::Tick() {
  if (!progress_.Due()) return;
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
  progress_.Show({files_done_, counter_->total(), elapsed, current_folder_});
}
