#include "commands/standard_output.h"

#include <cerrno>
#include <cstdio>

namespace {

// The first error: a later call may succeed, with a part of the text missing.
int first_error = 0;

int Noted(bool written) {
  if (!written && first_error == 0) first_error = errno;
  return first_error;
}

}  // namespace

int Write(std::string_view text) {
  return Noted(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

int WriteOut(std::string_view text) {
  static_cast<void>(Write(text));
  return Noted(std::fflush(stdout) == 0);
}
