// A worker that says anything at all: what is heard of it are results of items that it was given, each once
// and in their order, and what is left of its batch is all the rest.
#include <sys/socket.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "fuzz/fuzz_input.h"
#include "run/worker_link.h"

namespace {

constexpr std::size_t kItems = 5;

class AnyWorker : public StartedWorker {
 public:
  explicit AnyWorker(FileDescriptor socket) : channel_(std::move(socket)) {}
  Channel& channel() override { return channel_; }
  void Kill() override {}
  WorkerEnd AwaitEnd(std::chrono::milliseconds /*patience*/) override { return {"ended", {}}; }

 private:
  Channel channel_;
};

std::string PathOf(std::size_t item) {
  return "/photos/" + std::to_string(item);
}

struct Heard : WorkerLinkListener {
  void Opened(const std::string& database) override {
    Require(!opened && database.size() <= 64, "opened twice, or by a long name");
    opened = true;
  }
  void ItemDone(const WorkItem& item, const ItemResult& result) override {
    Require(opened && item.path == PathOf(done++), "a result out of order", item.path);
    Require(result.reason.size() <= kLongestReason && result.fingerprint.size() <= kLongestFingerprint,
            "a bound is not kept");
    Require(result.outcome <= kLastSaid, "an outcome that no worker says");
  }
  void Kept(std::uint64_t /*generation*/) override { Require(++kept <= done, "more commits than items"); }
  void Unusable(bool /*had_opened*/, Failure reason) override {
    Require(reason.message.size() <= kLongestReason, "a bound is not kept");
    unusable = true;
  }
  void SaidAll() override {}
  void Lost(WorkerLink& /*link*/, const WorkerEnd& /*end*/) override { lost = true; }
  void Ended(WorkerLink& /*link*/) override {}

  bool opened = false;
  bool unusable = false;
  bool lost = false;
  std::size_t done = 0;
  std::size_t kept = 0;
};

std::vector<WorkQueue::Entry> SomeItems() {
  std::vector<WorkQueue::Entry> entries;
  for (std::size_t i = 0; i < kItems; ++i) entries.push_back({{ItemKind::kPhoto, PathOf(i)}});
  return entries;
}

void Say(int socket, std::string_view bytes, WorkerLink& link) {
  Require(send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes), "not sent");
  link.Serve();
}

// The end of the conversation: of five items some are done, and the others are left.
void CheckUnfinished(WorkerLink& link, const Heard& heard) {
  const HandedBatch::UnfinishedItems rest = link.TakeUnfinishedItems();
  Require(heard.done + rest.entries.size() == kItems, "an item is lost");
  Require(!rest.current || *rest.current < rest.entries.size(), "it is at nothing");
}

}  // namespace

// Two parts: before it has a batch and while it has one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongest = 32'768;
  const std::string input = TextOf(data, std::min(size, kLongest));
  const std::size_t first = input.empty() ? 0 : static_cast<unsigned char>(input.front());
  const std::string_view said = std::string_view(input).substr(std::min<std::size_t>(1, input.size()));
  int ends[2];
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no sockets");
  const FileDescriptor socket(ends[0]);
  EventLoop loop;
  Heard heard;
  WorkerLink link(std::make_unique<AnyWorker>(FileDescriptor(ends[1])), std::chrono::seconds(1), heard, loop);
  const std::size_t before = std::min(first, said.size());
  if (before > 0) Say(socket.get(), said.substr(0, before), link);
  if (heard.lost || !link.idle()) return 0;
  link.Give({"writer", "run"}, SomeItems());
  Say(socket.get(), std::string(said.substr(before)) + std::string(1, '\0'), link);
  if (link.busy()) CheckUnfinished(link, heard);
  if (link.idle()) Require(heard.done == kItems || heard.unusable, "idle with open items");
  return 0;
}
