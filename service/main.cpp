#include <fcntl.h>
#include <unistd.h>

#include "exit_status.h"
#include "program.h"

namespace {

// Where one of the three is closed, the next file opened would take its number and get what is printed.
bool OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (fcntl(number, F_GETFD) < 0 && open("/dev/null", O_RDWR) != number) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!OpenStandardDescriptors()) return static_cast<int>(ExitStatus::kFatal);
  return RunProgram(argc, argv);
}
