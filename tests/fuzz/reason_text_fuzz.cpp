// What the plug-in and the libraries below it have logged, with names of people's files in it: it is divided
// into messages of which nothing is added, and makes one reason within its bound.
#include <unistd.h>

#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "worker/log_capture.h"
#include "worker/reason_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongestLogReason = 600;
  constexpr std::size_t kMostOfOurs = 100;  // words of our own, with brackets
  const std::string input = TextOf(data, size);
  LogCapture log(MemoryFile(input));
  const auto messages = log.Take();
  std::size_t bytes = 0;
  for (const std::string& message : messages) {
    Require(input.find(message) != std::string::npos, "nobody wrote it", message);
    bytes += message.size();
  }
  Require(bytes <= input.size() && (messages.empty() == input.empty()), "more than was written", input);
  const std::string reason = ReasonOf(messages);
  Require(reason.size() <= kLongestLogReason && (!reason.empty() || !input.empty()), "a bound", reason);
  const std::string told = ReasonForPeople(reason);
  Require(told.size() <= reason.size() + kMostOfOurs, "a bound", told);
  Require(ReasonForPeople(input).size() <= input.size() + kMostOfOurs, "a bound", input);
  return 0;
}
