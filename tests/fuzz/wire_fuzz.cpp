// Whatever bytes come over the wire: a message that is taken is one that this side could have sent, and reads
// as the same when it is sent again; a stream is divided as its lengths say.
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/fuzz_input.h"
#include "work/wire.h"

namespace {

bool Same(const WorkItem& a, const WorkItem& b) {
  return a.kind == b.kind && a.path == b.path && a.action == b.action && a.from == b.from &&
         a.same_content == b.same_content;
}

bool Same(const ItemResult& a, const ItemResult& b) {
  return a.outcome == b.outcome && a.reason == b.reason && a.fingerprint == b.fingerprint;
}

template <typename Items>
bool SameItems(const Items& a, const Items& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& one, const auto& other) { return Same(one, other); });
}

void CheckComesThrough(const Batch& batch) {
  const auto again = DecodeBatch(EncodeBatch(batch));
  Require(again && again->name.writer == batch.name.writer && again->name.run == batch.name.run &&
              SameItems(again->items, batch.items),
          "a batch changed");
}

void CheckComesThrough(const Results& results) {
  const auto again = DecodeResults(EncodeResults(results));
  Require(again && again->first == results.first && again->generations == results.generations &&
              SameItems(again->items, results.items),
          "results changed");
}

void CheckContent(std::string_view content) {
  if (const auto batch = DecodeBatch(content)) {
    Require(EncodeBatch(*batch).size() == content.size(), "a batch has another length");
    CheckComesThrough(*batch);
  }
  if (const auto results = DecodeResults(content)) {
    Require(EncodeResults(*results) == content, "results have other bytes");
    for (const ItemResult& result : results->items) {
      Require(result.reason.size() <= kLongestReason && result.fingerprint.size() <= kLongestFingerprint,
              "a bound is not kept");
    }
    CheckComesThrough(*results);
  }
}

// The items that a program of ours makes of such texts.
void CheckMade(std::string_view texts) {
  Batch batch{{TakePart(texts), TakePart(texts)}, {}};
  Results results;
  while (!texts.empty()) {
    const auto mark = static_cast<unsigned char>(texts.front());
    batch.items.push_back({static_cast<ItemKind>(mark % 3), TakePart(texts),
                           static_cast<ItemAction>(mark % 10), TakePart(texts), mark > 127});
    results.items.push_back({static_cast<ItemOutcome>(mark % 7), batch.items.back().path.substr(0, 4096),
                             std::string(mark % 9, 'f')});
    results.generations.push_back(mark * std::uint64_t{0x100000001});
  }
  CheckComesThrough(batch);
  CheckComesThrough(results);
}

// The next message of CHANNEL out of STREAM, which is told by its own length.
bool TakeMessage(Channel& channel, std::string_view& stream) {
  const auto message = channel.Next();
  if (!message) return false;
  const std::string frame = MessageWriter()
                                .Number(static_cast<std::uint32_t>(message->content.size() + 1))
                                .Byte(static_cast<std::uint8_t>(message->type))
                                .content() +
                            message->content;
  Require(stream.starts_with(frame), "a message that nobody sent", frame);
  stream.remove_prefix(frame.size());
  CheckContent(message->content);
  return true;
}

void CheckStream(std::string_view stream) {
  int ends[2];
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no sockets");
  const FileDescriptor other(ends[0]);
  Channel channel{FileDescriptor(ends[1])};
  Require(send(other.get(), stream.data(), stream.size(), MSG_NOSIGNAL) == std::ssize(stream), "not sent");
  while (!stream.empty() && channel.ReadArrived() == Channel::State::kOpen && !channel.broken()) {
    bool any = false;
    while (TakeMessage(channel, stream)) any = true;
    if (!any) break;
  }
  MessageReader rest(stream);
  const std::uint32_t length = rest.Number();
  constexpr std::uint32_t kLongest = 1U << 20;
  const bool nonsense = rest.ok() && (length == 0 || length > kLongest);
  Require(channel.broken() == nonsense, "another thing breaks the channel", stream);
  Require(nonsense || !rest.ok() || stream.size() < sizeof(length) + length, "a message stays behind");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongest = 60'000;  // what a socket takes at once
  const std::string input = TextOf(data, std::min(size, kLongest));
  CheckContent(input);
  CheckMade(input);
  CheckStream(input);
  return 0;
}
