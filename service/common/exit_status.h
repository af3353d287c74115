#ifndef SERVICE_COMMON_EXIT_STATUS_H_
#define SERVICE_COMMON_EXIT_STATUS_H_

// How the program ends; scripts rely on the numbers. A run that a signal stopped, with everything so far
// kept, ends with 128 plus the signal's number (130 for Ctrl-C, 143 for SIGTERM).
enum class ExitStatus : int {
  kDone = 0,
  kFatal = 1,
  kUsage = 2,
  kSomeFailed = 3,     // done, but files or folders failed, which no earlier run has told
  kConfiguration = 4,  // the state folder, the plug-in or a tool is missing or not usable
  kDatabase = 5,       // the database cannot be reached
  kLibraryBusy = 6,    // another run holds the library
  kLoss = 7,           // stopped before deleting the rows of files that may only be out of reach
};

inline constexpr int kSignalExitBase = 128;

inline constexpr ExitStatus StoppedBy(int signal) {
  return static_cast<ExitStatus>(kSignalExitBase + signal);
}

#endif  // SERVICE_COMMON_EXIT_STATUS_H_
