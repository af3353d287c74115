#include "worker/log_capture.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "common/read_pipe.h"

namespace {

constexpr const char* kName = "lumivault";
constexpr std::string_view kMessageStart = "lumivault: ";  // as syslog writes it
constexpr std::size_t kLongestLogReason = 600;

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

// Written on the way of calls that go on: a setting that is missing has its default.
bool IsNoFailure(std::string_view message) {
  constexpr std::array<std::string_view, 2> kRemarks{"Can't get key valude.", "File exists. Skip remove"};
  return std::any_of(kRemarks.begin(), kRemarks.end(),
                     [&](std::string_view remark) { return message.starts_with(remark); });
}

// What the last of MESSAGES, which tells what failed as a whole, came of: the last statement that failed,
// else what was told just before.
std::string_view CauseAmong(const std::vector<std::string_view>& messages) {
  constexpr std::string_view kFailedStatement = "Failed to exec [";
  const auto statement = std::find_if(messages.rbegin(), messages.rend(), [&](std::string_view message) {
    return message.starts_with(kFailedStatement);
  });
  if (statement != messages.rend()) return *statement;
  return messages.size() > 1 ? messages[messages.size() - 2] : messages.back();
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

std::string ReasonOf(const std::vector<std::string>& messages) {
  std::vector<std::string_view> told;
  for (const std::string& message : messages) {
    if (!IsNoFailure(message)) told.push_back(message);
  }
  if (told.empty()) return "the plug-in gave no reason";
  std::string reason(CauseAmong(told));
  if (told.back() != reason) reason.append("; ").append(told.back());
  return reason.substr(0, kLongestLogReason);
}
