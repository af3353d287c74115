// Texts and names of any bytes as times: what is read is a time text, which reads as itself.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "probe/name_time.h"
#include "probe/taken_time.h"

namespace {

void CheckText(const std::string& text) {
  constexpr std::string_view kForm = "####-##-## ##:##:##";
  Require(text.size() == kForm.size(), "another length", text);
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool fits = kForm[i] == '#' ? text[i] >= '0' && text[i] <= '9' : text[i] == kForm[i];
    Require(fits, "another form", text);
  }
  const auto again = TimeIn(text);
  Require(again && again->text == text && again->kind == TimeKind::kMoment, "it reads as another", text);
}

void CheckTime(const std::optional<ReadTime>& time) {
  if (time) CheckText(time->text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool in_zone = [] { return setenv("TZ", "Europe/Berlin", 1) == 0; }();
  Require(in_zone, "no zone");
  const std::string input = TextOf(data, size);
  CheckTime(TimeIn(input));
  CheckTime(LocalTimeOfUtc(input));
  if (const auto time = TimeInName(input)) CheckText(*time);
  std::string_view rest = input;
  const std::string year = TakePart(rest, ' ');
  const std::string month = TakePart(rest, ' ');
  const std::string day = TakePart(rest, ' ');
  CheckTime(TimeIn(year, month, day, rest));
  std::string_view half = input;
  if (const auto hours = TakeHalfOfDay(half)) Require(*hours == 0 || *hours == 12, "half of a day", input);
  std::int64_t seconds = 0;
  std::copy_n(input.begin(), std::min(input.size(), sizeof(seconds)), reinterpret_cast<char*>(&seconds));
  CheckTime(RecordedLocalTime(seconds));
  if (const auto time = LocalTime(seconds)) CheckText(*time);
  return 0;
}
