#include "run/kept_workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "files/file_stamp.h"
#include "work/database_file.h"
#include "work/write_turn.h"

namespace {

using Clock = std::chrono::steady_clock;

// To close a database that has nothing to be written.
constexpr std::chrono::milliseconds kPatience{2'000};

// One that has the library open already.
class OpenedWorker : public StartedWorker {
 public:
  OpenedWorker(std::unique_ptr<StartedWorker> worker, std::string database)
      : worker_(std::move(worker)), database_(std::move(database)) {}

  std::optional<std::string> opened() const override { return database_; }
  Channel& channel() override { return worker_->channel(); }
  void Kill() override { worker_->Kill(); }
  WorkerEnd AwaitEnd(std::chrono::milliseconds patience) override { return worker_->AwaitEnd(patience); }

 private:
  std::unique_ptr<StartedWorker> worker_;
  std::string database_;
};

// It says nothing while it has nothing to do: it is gone, or something is wrong with it.
bool HasSaidSomething(StartedWorker& worker) {
  pollfd socket{worker.channel().descriptor(), POLLIN, 0};
  return poll(&socket, 1, 0) != 0;
}

}  // namespace

KeptWorkers::Content KeptWorkers::ContentOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return {};
  return {IdOf(status), status.st_mtim.tv_sec * kNanosecondsOfSecond + status.st_mtim.tv_nsec};
}

KeptWorkers::Kind KeptWorkers::KindOf(const WorkerStart& start) {
  const FileDescriptor plugin(open(start.plugin.c_str(), O_PATH | O_CLOEXEC));
  Kind kind;
  kind.folder = IdBehind(start.library.folder.c_str());
  kind.program = ContentOf(start.program);
  kind.plugin = ContentOf(plugin.get());
  kind.memory = start.memory;
  if (start.identity) kind.identity = start.identity->user;
  return kind;
}

void KeptWorkers::Use(const WorkerStart& start) {
  start_ = start;
  if (!turn_) turn_ = WriteTurn::MakeShared();
  const Kind kind = KindOf(start);
  if (!IsKind(kind)) EndAll();
  kind_ = kind;
  const std::string database = FileIdentity(start.library.database());
  std::erase_if(
      kept_, [&](const auto& worker) { return worker->opened() != database || HasSaidSomething(*worker); });
}

Outcome<std::unique_ptr<StartedWorker>> KeptWorkers::Start(const std::string& database) {
  if (kept_.empty()) return WorkerProcess::Start(*start_, database, turn_);
  auto worker = std::move(kept_.back());
  kept_.pop_back();
  return worker;
}

std::unique_ptr<StartedWorker> KeptWorkers::Keep(std::unique_ptr<StartedWorker> worker,
                                                 const std::string& database) {
  if (!keeps() || database.empty()) return worker;
  if (!worker->opened()) worker = std::make_unique<OpenedWorker>(std::move(worker), database);
  kept_.push_back(std::move(worker));
  return nullptr;
}

void KeptWorkers::AskToEnd() {
  if (end_by_) return;
  end_by_ = Clock::now() + kPatience;
  for (const auto& worker : kept_) worker->channel().Post(MessageType::kStop);
}

// One that hangs takes the time of all.
void KeptWorkers::EndAll() {
  AskToEnd();
  for (const auto& worker : kept_) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*end_by_ - Clock::now());
    static_cast<void>(worker->AwaitEnd(std::max(left, std::chrono::milliseconds(0))));
  }
  kept_.clear();
  end_by_.reset();
}
