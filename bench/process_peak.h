#ifndef BENCH_PROCESS_PEAK_H_
#define BENCH_PROCESS_PEAK_H_

#include <string>
#include <vector>

struct ProgramRun {
  int status = -1;  // exit status, or -1 when a signal ended it
  double seconds = 0;
  double peak_mib =
      0;  // the largest sum of resident memory, shared pages counted once, over the program and its children
  double largest_mib = 0;  // the largest resident memory of one of these processes
};

// Runs a program with its output thrown away and watches its memory every few milliseconds.
ProgramRun RunAndWatch(const std::vector<std::string>& command);

// The same for a run of `lumivault index`. Throws when it fails; damaged photos may be among those that Exiv2
// reads.
ProgramRun RunAndWatchIndex(const std::vector<std::string>& command);

// Runs a program with its output thrown away, undisturbed. Throws when it does not end with exit status 0.
double SecondsOf(const std::vector<std::string>& command);

#endif  // BENCH_PROCESS_PEAK_H_
