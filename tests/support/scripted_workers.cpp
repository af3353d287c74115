#include "support/scripted_workers.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

void SteppedLoop::Wait(std::vector<pollfd>& descriptors, std::optional<Moment> until) {
  if (poll(descriptors.data(), descriptors.size(), 0) > 0) return;
  for (pollfd& descriptor : descriptors) descriptor.revents = 0;
  ASSERT_TRUE(until.has_value()) << "nothing would ever happen";
  now_ = std::max(now_, *until);
}

class ScriptedWorker : public StartedWorker, private EventHandler {
 public:
  ScriptedWorker(ScriptedWorkers& all, FileDescriptor ours, FileDescriptor theirs)
      : all_(all), channel_(std::move(ours)), own_(std::move(theirs)) {
    all_.loop_.Add(*this);
    all_.living_.push_back(this);
    all_.most_alive_ = std::max(all_.most_alive_, all_.living_.size());
  }
  ~ScriptedWorker() override { Go(); }

  Channel& channel() override { return channel_; }
  void Kill() override { Go(); }
  WorkerEnd AwaitEnd(std::chrono::milliseconds) override {
    Go();
    return end_;
  }

 private:
  Awaited Awaits() const override {
    if (!own_) return {};
    const bool has_work = !silent_ && (!ready_ || place_ < batch_.items.size() || ends_batch_);
    return {own_->descriptor(), false, has_work ? std::optional(next_) : std::nullopt};
  }

  void Serve() override {
    if (own_->ReadArrived() == Channel::State::kClosed) return Go();
    while (const auto message = own_->Next()) {
      if (message->type == MessageType::kStop && !all_.deaf) return Go();
      if (message->type == MessageType::kBatch) Take(*DecodeBatch(message->content));
    }
  }

  void Take(Batch batch) {
    batch_ = std::move(batch);
    place_ = 0;
    ends_batch_ = batch_.items.empty();
  }

  void Expire() override {
    next_ = all_.loop_.Now() + (ready_ ? all_.pace : std::chrono::milliseconds(0));
    if (!ready_) {
      ready_ = true;
      Say(MessageType::kReady, MessageWriter().Text(all_.opened).content());
    } else if (place_ < batch_.items.size()) {
      TurnTo(batch_.items[place_]);
    } else {
      ends_batch_ = false;
      Say(MessageType::kBatchEnd);
    }
  }

  void TurnTo(const WorkItem& item) {
    if (all_.tells_place) Say(MessageType::kTurnedTo, MessageWriter().Number(place_).content());
    if (const auto message = all_.says(item)) {
      own_->Post(message->type, message->content);
      silent_ = true;
    }
    if (silent_ || !Suffer(all_.item_script(item))) return;
    if (item.path == all_.loops_at) return;
    if (++place_ == batch_.items.size()) Commit();
  }

  void Commit() {
    Results results;
    for (const WorkItem& item : batch_.items) results.items.push_back(all_.work_(item));
    results.generations.push_back(++all_.generation_);
    ends_batch_ = true;
    Say(MessageType::kResults, EncodeResults(results));
  }

  void Say(MessageType type, const std::string& content = "") {
    const Fault fault = all_.NextStep();
    if (fault == Fault::kOtherDatabase && type == MessageType::kReady) {
      own_->Post(type, MessageWriter().Text("another").content());
    } else if (Suffer(fault)) {
      own_->Post(type, content);
    }
  }

  // Whether it goes on.
  bool Suffer(Fault fault) {
    switch (fault) {
      case Fault::kDies:
        end_ = {"killed by signal 11 (Segmentation fault)", SIGSEGV};
        Go();
        return false;
      case Fault::kKilled:
        end_ = {"killed by signal 9 (Killed): its last words", SIGKILL};
        Go();
        return false;
      case Fault::kNonsense:
        own_->Post(MessageType::kBatch, "");
        return false;
      case Fault::kSilent:
        silent_ = true;
        return false;
      case Fault::kUnusable:
        own_->Post(MessageType::kUnusable, MessageWriter()
                                               .Number(static_cast<std::uint32_t>(ExitStatus::kDatabase))
                                               .Text("the database has failed")
                                               .content());
        silent_ = true;
        return false;
      default:
        return own_.has_value();
    }
  }

  void Go() {
    if (!own_) return;
    own_.reset();
    all_.loop_.Remove(*this);
    std::erase(all_.living_, this);
  }

  ScriptedWorkers& all_;
  Channel channel_;
  std::optional<Channel> own_;  // the worker's end; nothing when it is gone
  WorkerEnd end_{"ended with exit status 0", {}};
  Batch batch_;
  std::uint32_t place_ = 0;
  Moment next_;  // when it does something again
  bool ready_ = false;
  bool ends_batch_ = false;
  bool silent_ = false;
};

void ScriptedWorkers::KillLast() {
  living_.back()->Kill();
}

Outcome<std::unique_ptr<StartedWorker>> ScriptedWorkers::Start(const std::string& database) {
  databases_.push_back(database);
  if (NextStep() == Fault::kNoStart)
    return Failure{ExitStatus::kFatal, "a worker cannot be started: no memory"};
  std::array<int, 2> ends{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  return std::unique_ptr<StartedWorker>(
      std::make_unique<ScriptedWorker>(*this, FileDescriptor(ends[0]), FileDescriptor(ends[1])));
}
