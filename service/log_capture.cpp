#include "log_capture.h"

#include <errno.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace {

constexpr const char* kName = "lumivault";
constexpr std::string_view kMessageStart = "lumivault: ";  // as syslog writes it
constexpr std::size_t kReadSize = 4096;
constexpr std::size_t kLongestReason = 600;

// Drops "photo_index.cpp:120 " and "photo_index.cpp (120) ".
std::string_view WithoutPosition(std::string_view message) {
  const std::size_t source = message.find(".cpp");
  const std::size_t name_end = message.find_first_not_of("abcdefghijklmnopqrstuvwxyz_");
  if (source == std::string_view::npos || name_end != source) return message;
  const std::size_t number = message.find_first_of("0123456789", source);
  const std::size_t end = message.find_first_not_of("0123456789)", number);
  if (number == std::string_view::npos || end == std::string_view::npos || message[end] != ' ')
    return message;
  return message.substr(end + 1);
}

std::string_view WithoutLineEnd(std::string_view message) {
  while (!message.empty() && message.back() == '\n') message.remove_suffix(1);
  return message;
}

}  // namespace

LogCapture::LogCapture(FileDescriptor pipe) : pipe_(std::move(pipe)) {
  openlog(kName, LOG_PERROR, LOG_USER);
}

std::vector<std::string> LogCapture::Take() {
  const std::string text = ReadPipe(pipe_.get());
  std::vector<std::string> messages;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t next = text.find("\n" + std::string(kMessageStart), begin);
    const std::size_t end = next == std::string::npos ? text.size() : next + 1;
    std::string_view message = WithoutLineEnd(std::string_view(text).substr(begin, end - begin));
    if (message.starts_with(kMessageStart)) message.remove_prefix(kMessageStart.size());
    messages.emplace_back(WithoutPosition(message));
    begin = end;
  }
  return messages;
}

std::string ReadPipe(int pipe) {
  std::string text;
  std::array<char, kReadSize> bytes;
  while (true) {
    const ssize_t count = read(pipe, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

std::string ReasonOf(const std::vector<std::string>& messages) {
  if (messages.empty()) return "the plug-in gave no reason";
  std::string reason = messages.front();
  if (messages.back() != reason) reason += "; " + messages.back();
  return reason.substr(0, kLongestReason);
}
