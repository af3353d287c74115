#include "worker/supervisor_channel.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/file_descriptor.h"
#include "platform/media_file.h"
#include "worker/memory_limit.h"
#include "worker/prepared_item.h"

namespace {

using namespace std::string_view_literals;

// What files begin with that Exiv2 maps into memory whole: TIFF and its descendants, with the raw formats of
// Olympus, Panasonic and Canon. It reads all others in pieces.
constexpr std::array kMappedStarts = {"II*\0"sv, "MM\0*"sv, "IIRO"sv,    "IIRS"sv,
                                      "MMOR"sv,  "IIU\0"sv, "II\x1a\0"sv};

bool IsMapped(int file) {
  std::array<char, 4> start{};
  if (pread(file, start.data(), start.size(), 0) != static_cast<ssize_t>(start.size())) return false;
  return std::find(kMappedStarts.begin(), kMappedStarts.end(),
                   std::string_view(start.data(), start.size())) != kMappedStarts.end();
}

// How much of the address space the file of ITEM takes beside what is made of it: a hole in a file of another
// kind, which costs nothing, must not buy memory.
std::uint64_t MappedBytes(const WorkItem& item) {
  if (item.kind != ItemKind::kPhoto || !ReadsFile(item)) return 0;
  const FileDescriptor file(KAVOMediaOpen(item.path.c_str()));
  struct stat status {};
  if (!file || !IsMapped(file.get()) || fstat(file.get(), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace

bool SupervisorChannel::TurnTo(std::uint32_t index, const WorkItem& item) {
  // First, so that a disk that does not answer is charged to the file that is asked of it.
  const bool told = Announce(index);
  const auto [mapped, first_time] = mapped_.try_emplace(index, 0);
  // All that read it now read what is opened once.
  static_cast<void>(KAVOMediaKeep(first_time && ReadsFile(item) ? item.path.c_str() : nullptr));
  if (first_time) mapped->second = MappedBytes(item);
  AllowMapping(mapped->second);
  return told;
}

bool SupervisorChannel::TurnToNone() {
  AllowMapping(0);
  static_cast<void>(KAVOMediaKeep(nullptr));
  return Announce(kNoItem);
}

bool SupervisorChannel::Announce(std::uint32_t index) {
  const MessageWriter message = MessageWriter().Number(index);
  return channel_.Send(MessageType::kTurnedTo, message.content());
}

bool SupervisorChannel::Take(const Results& results) {
  return channel_.Send(MessageType::kResults, EncodeResults(results));
}

bool SupervisorChannel::End() {
  mapped_.clear();
  return channel_.Send(MessageType::kBatchEnd);
}

bool SupervisorChannel::WantsStop() {
  pollfd supervisor{channel_.descriptor(), POLLIN, 0};
  return poll(&supervisor, 1, 0) != 0;
}
