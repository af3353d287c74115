// The conversation between the supervisor and a worker, over a stream socket. Each message is its length (32
// bits, of what follows the length), its type (8 bits) and its content; numbers are in the machine's byte
// order, texts carry a 32-bit length of their own.
//
//   supervisor -> worker
//     kBatch      texts: whose catalogue the run keeps, its own name; count, then for each item its kind,
//                 action and whether its content is the same (8 bits each), path and old path
//     kStop       nothing: commit what there is, report it, leave the rest of the batch
//   worker -> supervisor
//     kReady      text: the library is open; which file its database is
//     kUnusable   exit status (32 bits), text: it cannot be opened, or its database has failed; the
//                 worker ends, and what it has not reported was not kept
//     kTurnedTo   index of the item that it turns to, or kNoItem for work that belongs to none
//     kResults    first index, count, then for each item its outcome (8 bits), reason and fingerprint;
//                 what is done is committed; count, then the generations that this has given the database
//     kBatchEnd   nothing: no more results of this batch
//
// A worker may have been taken over by a broken file: whatever it sends is checked, and a message that is not
// well-formed ends it.
#ifndef SERVICE_WORK_WIRE_H_
#define SERVICE_WORK_WIRE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_descriptor.h"
#include "library/generation.h"
#include "work/work_item.h"

enum class MessageType : std::uint8_t {
  kBatch = 1,
  kStop,
  kReady,
  kUnusable,
  kTurnedTo,
  kResults,
  kBatchEnd
};

inline constexpr std::uint32_t kNoItem = 0xFFFFFFFF;

struct Message {
  MessageType type;
  std::string content;
};

class MessageWriter {
 public:
  MessageWriter& Byte(std::uint8_t value);
  MessageWriter& Number(std::uint32_t value);
  MessageWriter& LongNumber(std::uint64_t value);
  MessageWriter& Text(std::string_view value);
  const std::string& content() const { return content_; }

 private:
  template <typename Value>
  void Bytes(Value value);

  std::string content_;
};

// Reads a content in order. After the first value that is not there everything reads as zero and ok() is
// false.
class MessageReader {
 public:
  explicit MessageReader(std::string_view content) : rest_(content) {}
  std::uint8_t Byte();
  std::uint32_t Number();
  std::uint64_t LongNumber();
  std::string Text();
  bool ok() const { return ok_; }
  // Everything was there and nothing is left.
  bool IsCompletelyRead() const { return ok_ && rest_.empty(); }

 private:
  std::string_view Take(std::size_t count);
  template <typename Value>
  Value Bytes();

  std::string_view rest_;
  bool ok_ = true;
};

struct Batch {
  RunName name;
  std::vector<WorkItem> items;
};
std::string EncodeBatch(const Batch& batch);
std::optional<Batch> DecodeBatch(std::string_view content);

// What is told of one item is cut at this, in bytes; what is longer comes from no worker of ours.
inline constexpr std::size_t kLongestReason = 4096;
inline constexpr std::size_t kLongestFingerprint = 128;

struct Results {
  std::uint32_t first = 0;
  std::vector<ItemResult> items;
  std::vector<std::uint64_t> generations = {};
};
std::string EncodeResults(const Results& results);
std::optional<Results> DecodeResults(std::string_view content);

// One end of the conversation.
class Channel {
 public:
  enum class State { kOpen, kClosed };

  explicit Channel(FileDescriptor socket) : socket_(std::move(socket)) {}

  int descriptor() const { return socket_.get(); }
  // Waits until all is sent; false when the other end is gone.
  [[nodiscard]] bool Send(MessageType type, std::string_view content = {});
  // Never waits: what the other end does not take now goes with the next calls of this and of Flush.
  void Post(MessageType type, std::string_view content = {});
  void Flush();
  bool has_unsent() const { return !unsent_.empty(); }
  // Waits for the next message; nothing when the other end is gone or sends what is no message.
  std::optional<Message> Receive();
  // Takes in what has arrived, without waiting.
  State ReadArrived();
  // The next message that has arrived whole.
  std::optional<Message> Next();
  // What arrived is no message; nothing more comes out.
  bool broken() const { return broken_; }

 private:
  State ReadOnce(int flags);

  FileDescriptor socket_;
  std::string arrived_;
  std::string unsent_;
  bool broken_ = false;
};

#endif  // SERVICE_WORK_WIRE_H_
