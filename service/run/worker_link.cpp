#include "run/worker_link.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace {

using std::chrono::milliseconds;

// Work that belongs to no file: opening the library, waiting for other processes' transactions, committing.
constexpr milliseconds kOtherWork{60'000};
// How long a process that has closed its socket may take to end.
constexpr milliseconds kExitPatience{2'000};
// Of a batch. For an item at most, where each has a transaction of its own: turned to for reading (1), for
// writing, with what belongs to none around it (4), for both again alone (5), and its results (1): 11.
constexpr std::size_t kMostMessages = 16 * kBatchSize;
constexpr const char* kNonsense = "the worker's answer makes no sense";

std::string TimedOut(milliseconds limit) {
  std::ostringstream text;
  text << "timed out after " << std::chrono::duration<double>(limit).count() << " s";
  return text.str();
}

// "device:inode" (work/database_file.h), "" where the database is no file; either is shorter.
constexpr std::size_t kLongestDatabase = 64;

// The worker's failures that are the run's: of one that STARTS, or has opened the library.
bool MayEndRun(ExitStatus status, bool starts) {
  return status == ExitStatus::kDatabase ||
         (starts && (status == ExitStatus::kFatal || status == ExitStatus::kConfiguration));
}

}  // namespace

WorkerLink::WorkerLink(std::unique_ptr<StartedWorker> worker, milliseconds file_timeout,
                       WorkerLinkListener& listener, EventLoop& loop)
    : worker_(std::move(worker)),
      file_timeout_(file_timeout),
      listener_(listener),
      loop_(loop),
      state_(worker_->opened() ? State::kIdle : State::kStarting),
      last_word_at_(loop.Now()) {
  loop_.Add(*this);
}

void WorkerLink::Give(const RunName& name, std::vector<WorkQueue::Entry> batch) {
  batch_.Begin(std::move(batch));
  state_ = State::kBusy;
  messages_of_batch_ = 0;
  last_word_at_ = loop_.Now();
  batch_end_ = last_word_at_ + TimeForBatch();
  worker_->channel().Post(MessageType::kBatch, EncodeBatch(batch_.AsMessage(name)));
}

void WorkerLink::Stop() {
  worker_->channel().Post(MessageType::kStop);
}

void WorkerLink::EndBy(Moment until) {
  if (state_ != State::kEnding) Stop();
  state_ = State::kEnding;
  end_ = until;
}

bool WorkerLink::Leave(WorkerStarter& starter, const std::string& database) {
  worker_ = starter.Keep(std::move(worker_), database);
  return worker_ == nullptr;
}

milliseconds WorkerLink::TimeForStep() const {
  return batch_.at_item() ? file_timeout_ : kOtherWork;
}

// Telling where it is gives a worker more time, but not without end.
milliseconds WorkerLink::TimeForBatch() const {
  return static_cast<int>(batch_.size()) * (file_timeout_ + kOtherWork);
}

Awaited WorkerLink::Awaits() const {
  const Channel& channel = worker_->channel();
  Awaited awaited{channel.descriptor(), channel.has_unsent(), std::nullopt};
  if (state_ == State::kEnding) awaited.moment = end_;
  if (starting()) awaited.moment = last_word_at_ + kOtherWork;
  if (busy()) awaited.moment = std::min(last_word_at_ + TimeForStep(), batch_end_);
  return awaited;
}

// The listener's last word may be this object's end.
void WorkerLink::Serve() {
  Channel& channel = worker_->channel();
  channel.Flush();
  const bool closed = channel.ReadArrived() == Channel::State::kClosed;
  if (state_ == State::kEnding) {
    while (channel.Next()) {
    }
    if (channel.broken()) worker_->Kill();
    if (closed || channel.broken()) Expire();
    return;
  }
  while (const auto message = channel.Next()) {
    if (!HandleMessage(*message)) return listener_.Lost(*this, {kNonsense, {}});
  }
  if (channel.broken()) return listener_.Lost(*this, {kNonsense, {}});
  if (closed) return listener_.Lost(*this, worker_->AwaitEnd(kExitPatience));
  listener_.SaidAll();
}

void WorkerLink::Expire() {
  if (state_ == State::kEnding) {
    const auto left = std::chrono::ceil<milliseconds>(end_ - loop_.Now());
    static_cast<void>(worker_->AwaitEnd(std::clamp(left, milliseconds(0), kExitPatience)));
    return listener_.Ended(*this);
  }
  worker_->Kill();
  const bool batch_is_over = busy() && loop_.Now() >= batch_end_;
  listener_.Lost(*this, {TimedOut(batch_is_over ? TimeForBatch() : TimeForStep()), {}});
}

bool WorkerLink::HandleMessage(const Message& message) {
  last_word_at_ = loop_.Now();
  if (++messages_of_batch_ > kMostMessages) return false;
  switch (message.type) {
    case MessageType::kReady:
      return starting() && HandleReady(message.content);
    case MessageType::kUnusable:
      return !idle() && HandleUnusable(message.content);
    case MessageType::kTurnedTo:
      return busy() && batch_.TurnTo(message.content);
    case MessageType::kResults:
      return busy() && HandleResults(message.content);
    case MessageType::kBatchEnd:
      return busy() && HandleBatchEnd();
    default:
      return false;
  }
}

bool WorkerLink::HandleReady(std::string_view content) {
  MessageReader reader(content);
  const std::string database = reader.Text();
  if (!reader.IsCompletelyRead() || database.size() > kLongestDatabase) return false;
  state_ = State::kIdle;
  listener_.Opened(database);
  return true;
}

bool WorkerLink::HandleUnusable(std::string_view content) {
  MessageReader reader(content);
  const auto status = static_cast<ExitStatus>(reader.Number());
  Failure reason{status, reader.Text().substr(0, kLongestReason)};
  if (!reader.IsCompletelyRead() || !MayEndRun(status, starting())) return false;
  const bool had_opened = busy();
  // The process ends by itself; Lost then finds it with nothing in hand.
  if (had_opened) state_ = State::kIdle;
  batch_.Forget();
  listener_.Unusable(had_opened, std::move(reason));
  return true;
}

bool WorkerLink::HandleResults(std::string_view content) {
  const auto results = DecodeResults(content);
  if (!results || !batch_.Fits(*results)) return false;
  for (const ItemResult& result : results->items) listener_.ItemDone(batch_.TakeNext(), result);
  for (const std::uint64_t generation : results->generations) listener_.Kept(generation);
  batch_.NoteAtNone();
  return true;
}

bool WorkerLink::HandleBatchEnd() {
  if (!batch_.told_of_all()) return false;
  state_ = State::kIdle;
  batch_.Forget();
  return true;
}
