#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <string_view>

#include "commands/program.h"
#include "common/exit_status.h"

namespace {

// Where one of the three is closed, the next file opened would take its number and get what is printed. What
// is written to standard output fails all the same.
bool OpenStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    const int mode = number == STDERR_FILENO ? O_WRONLY : O_RDONLY;
    if (fcntl(number, F_GETFD) < 0 && open("/dev/null", mode) != number) return false;
  }
  return true;
}

// SQLite maps the shared memory beside a database, and who owns that may cut it short meanwhile.
void EndForMappedFile(int /*signal*/) {
  constexpr std::string_view kLine = "lumivault: a file that was being read was cut short\n";
  static_cast<void>(!write(STDERR_FILENO, kLine.data(), kLine.size()));
  _exit(static_cast<int>(ExitStatus::kDatabase));
}

}  // namespace

int main(int argc, char** argv) {
  if (!OpenStandardDescriptors()) return static_cast<int>(ExitStatus::kFatal);
  // A reader of the progress or the result that goes away ends no run, and leaves no database open.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGBUS, &EndForMappedFile);
  return RunProgram(argc, argv);
}
