#include "work/wire.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>

#include <array>

#include "files/fingerprint.h"

namespace {

// A batch of moves between the longest paths is a third of it.
constexpr std::uint32_t kLongestMessage = 1U << 20;
constexpr std::size_t kReadSize = 65536;

std::string FrameOf(MessageType type, std::string_view content) {
  MessageWriter frame;
  frame.Number(static_cast<std::uint32_t>(content.size() + 1)).Byte(static_cast<std::uint8_t>(type));
  return frame.content() + std::string(content);
}

}  // namespace

MessageWriter& MessageWriter::Byte(std::uint8_t value) {
  content_ += static_cast<char>(value);
  return *this;
}

template <typename Value>
void MessageWriter::Bytes(Value value) {
  std::array<char, sizeof(value)> bytes{};
  memcpy(bytes.data(), &value, sizeof(value));
  content_.append(bytes.data(), bytes.size());
}

MessageWriter& MessageWriter::Number(std::uint32_t value) {
  Bytes(value);
  return *this;
}

MessageWriter& MessageWriter::LongNumber(std::uint64_t value) {
  Bytes(value);
  return *this;
}

MessageWriter& MessageWriter::Text(std::string_view value) {
  Number(static_cast<std::uint32_t>(value.size()));
  content_ += value;
  return *this;
}

std::string_view MessageReader::Take(std::size_t count) {
  ok_ = ok_ && rest_.size() >= count;
  if (!ok_) return {};
  const std::string_view taken = rest_.substr(0, count);
  rest_.remove_prefix(count);
  return taken;
}

std::uint8_t MessageReader::Byte() {
  const std::string_view bytes = Take(1);
  return bytes.empty() ? 0 : static_cast<std::uint8_t>(bytes.front());
}

template <typename Value>
Value MessageReader::Bytes() {
  Value value = 0;
  const std::string_view bytes = Take(sizeof(value));
  if (!bytes.empty()) memcpy(&value, bytes.data(), sizeof(value));
  return value;
}

std::uint32_t MessageReader::Number() {
  return Bytes<std::uint32_t>();
}

std::uint64_t MessageReader::LongNumber() {
  return Bytes<std::uint64_t>();
}

std::string MessageReader::Text() {
  return std::string(Take(Number()));
}

std::string EncodeBatch(const Batch& batch) {
  MessageWriter writer;
  writer.Text(batch.name.writer).Text(batch.name.run);
  writer.Number(static_cast<std::uint32_t>(batch.items.size()));
  for (const WorkItem& item : batch.items) {
    writer.Byte(static_cast<std::uint8_t>(item.kind)).Byte(static_cast<std::uint8_t>(item.action));
    writer.Byte(item.same_content ? 1 : 0);
    writer.Text(item.path).Text(item.from);
  }
  return writer.content();
}

std::optional<Batch> DecodeBatch(std::string_view content) {
  MessageReader reader(content);
  Batch batch;
  batch.name.writer = reader.Text();
  batch.name.run = reader.Text();
  for (std::uint32_t left = reader.Number(); left > 0 && reader.ok(); --left) {
    const std::uint8_t kind = reader.Byte();
    const std::uint8_t action = reader.Byte();
    const bool same_content = reader.Byte() != 0;
    if (kind > static_cast<std::uint8_t>(ItemKind::kVideo)) return std::nullopt;
    if (action > static_cast<std::uint8_t>(ItemAction::kNoteMounts)) return std::nullopt;
    std::string path = reader.Text();
    batch.items.push_back({static_cast<ItemKind>(kind), std::move(path), static_cast<ItemAction>(action),
                           reader.Text(), same_content});
  }
  if (!reader.IsCompletelyRead()) return std::nullopt;
  return batch;
}

std::string EncodeResults(const Results& results) {
  MessageWriter writer;
  writer.Number(results.first).Number(static_cast<std::uint32_t>(results.items.size()));
  for (const ItemResult& result : results.items) {
    writer.Byte(static_cast<std::uint8_t>(result.outcome));
    writer.Text(std::string_view(result.reason).substr(0, kLongestReason)).Text(result.fingerprint);
  }
  writer.Number(static_cast<std::uint32_t>(results.generations.size()));
  for (const std::uint64_t generation : results.generations) writer.LongNumber(generation);
  return writer.content();
}

std::optional<Results> DecodeResults(std::string_view content) {
  MessageReader reader(content);
  Results results;
  results.first = reader.Number();
  for (std::uint32_t left = reader.Number(); left > 0 && reader.ok(); --left) {
    const std::uint8_t outcome = reader.Byte();
    if (outcome > static_cast<std::uint8_t>(kLastSaid)) return std::nullopt;
    std::string reason = reader.Text();
    std::string fingerprint = reader.Text();
    if (reason.size() > kLongestReason || fingerprint.size() > kLongestFingerprint) return std::nullopt;
    if (!IsFingerprint(fingerprint)) return std::nullopt;
    results.items.push_back({static_cast<ItemOutcome>(outcome), std::move(reason), std::move(fingerprint)});
  }
  for (std::uint32_t left = reader.Number(); left > 0 && reader.ok(); --left) {
    results.generations.push_back(reader.LongNumber());
  }
  if (!reader.IsCompletelyRead()) return std::nullopt;
  return results;
}

bool Channel::Send(MessageType type, std::string_view content) {
  const std::string bytes = FrameOf(type, content);
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

void Channel::Post(MessageType type, std::string_view content) {
  unsent_ += FrameOf(type, content);
  Flush();
}

// One that is gone shows when its end of the socket is read.
void Channel::Flush() {
  while (!unsent_.empty()) {
    const ssize_t count = send(socket_.get(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno != EAGAIN) unsent_.clear();
    if (count <= 0) return;
    unsent_.erase(0, static_cast<std::size_t>(count));
  }
}

std::optional<Message> Channel::Receive() {
  while (true) {
    if (auto message = Next()) return message;
    if (broken_ || ReadOnce(0) == State::kClosed) return std::nullopt;
  }
}

Channel::State Channel::ReadArrived() {
  return broken_ ? State::kClosed : ReadOnce(MSG_DONTWAIT);
}

Channel::State Channel::ReadOnce(int flags) {
  std::array<char, kReadSize> bytes;
  const ssize_t count = recv(socket_.get(), bytes.data(), bytes.size(), flags);
  if (count > 0) {
    arrived_.append(bytes.data(), static_cast<std::size_t>(count));
    return State::kOpen;
  }
  const bool nothing_yet = count < 0 && (errno == EAGAIN || errno == EINTR);
  return nothing_yet ? State::kOpen : State::kClosed;
}

std::optional<Message> Channel::Next() {
  if (broken_) return std::nullopt;
  MessageReader reader(arrived_);
  const std::uint32_t length = reader.Number();
  if (!reader.ok()) return std::nullopt;
  if (length == 0 || length > kLongestMessage) {
    broken_ = true;
    return std::nullopt;
  }
  const std::size_t whole = sizeof(length) + length;
  if (arrived_.size() < whole) return std::nullopt;
  Message message{static_cast<MessageType>(arrived_[sizeof(length)]),
                  arrived_.substr(sizeof(length) + 1, length - 1)};
  arrived_.erase(0, whole);
  return message;
}
