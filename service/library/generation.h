#ifndef SERVICE_LIBRARY_GENERATION_H_
#define SERVICE_LIBRARY_GENERATION_H_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

// Which state of a database it is: every batch of a run raises the number and leaves the run's name. What
// other programs write does not count.
struct Generation {
  std::uint64_t number = 0;
  std::string run;

  bool operator==(const Generation&) const = default;
};

// As a fact of a catalogue.
inline std::string TextOf(const Generation& generation) {
  return std::to_string(generation.number) + " " + generation.run;
}
// Reads one; the run's name may be any. What is none is the first.
inline Generation GenerationOf(std::string_view text) {
  Generation noted;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), noted.number);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (error != std::errc() || !text.starts_with(' ')) return {};
  noted.run = text.substr(1);
  return noted;
}

// Who raises it.
struct RunName {
  std::string writer;  // the catalogue that the run keeps
  std::string run;     // no other run has it
};

#endif  // SERVICE_LIBRARY_GENERATION_H_
