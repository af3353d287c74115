#include "run/kept_workers.h"

#include <poll.h>

#include <chrono>
#include <utility>

#include "work/database_file.h"
#include "work/write_turn.h"

namespace {

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

void KeptWorkers::Use(const WorkerStart& start) {
  start_ = start;
  if (!turn_) turn_ = WriteTurn::MakeShared();
  const auto folder = IdBehind(start.library.folder.c_str());
  if (!kept_.empty() && (!folder || folder != folder_)) EndAll();
  folder_ = folder;
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

void KeptWorkers::EndAll() {
  for (const auto& worker : kept_) worker->channel().Post(MessageType::kStop);
  for (const auto& worker : kept_) static_cast<void>(worker->AwaitEnd(kPatience));
  kept_.clear();
}
