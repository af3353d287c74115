// Running programs. No shell is involved unless the program is one.
//
// A program is looked up in this order: an executable at that path (below LUMIVAULT_ROOT where one is set);
// else, for "/usr/kavo/bin/exiv2", a built-in that answers through the library with the same bytes and exit
// status. A program that runs longer than 30 s is killed, its whole process group with it. What a program
// leaves behind in its group is killed too; only what has left the group (setsid) goes on.
#ifndef PLATFORM_PROCESS_H_
#define PLATFORM_PROCESS_H_

#include <memory>

#include "platform/api.h"

extern "C" {

// Runs PROGRAM with up to four arguments, the first null ending them, and waits. Its standard output is
// thrown away. Its exit status, or -1 when it could not be run or did not end by itself.
KAVO_API int RLIBCExec(const char* program, const char* argument1, const char* argument2,
                       const char* argument3, const char* argument4);

}  // extern "C"

namespace KAVOUtils {

// Runs one program and captures what it prints.
class KAVO_API ProcessRunner {
 public:
  // The program, then its argument vector (the first is the program's own name); unused ones are null.
  explicit ProcessRunner(const char* program, const char* a0 = nullptr, const char* a1 = nullptr,
                         const char* a2 = nullptr, const char* a3 = nullptr, const char* a4 = nullptr,
                         const char* a5 = nullptr, const char* a6 = nullptr, const char* a7 = nullptr,
                         const char* a8 = nullptr, const char* a9 = nullptr);
  ~ProcessRunner();
  ProcessRunner(const ProcessRunner&) = delete;
  ProcessRunner& operator=(const ProcessRunner&) = delete;

  // Appends up to five more.
  void addArguments(const char* a0, const char* a1 = nullptr, const char* a2 = nullptr,
                    const char* a3 = nullptr, const char* a4 = nullptr);
  // Of a listing of metadata only the values are wanted in whose key or text one of these stands: the
  // built-in tool prints no others. A program prints what it prints.
  void wantOnly(const char* text, const char* other_text = nullptr);
  // Runs it and waits; with CAPTURE keeps its standard output, in which NUL bytes become blanks. The exit
  // status, or negative when it could not be run, did not end by itself, printed more than 16 MiB, or left
  // somebody behind who prints on (there is no output then). WAIT must be true: a program that nobody waits
  // for would outlive its time.
  int run(bool wait, bool capture);
  // What it printed; valid until the next run or the end of the object. Length excludes the terminator.
  const char* getCapturedOutput() const;
  // The command line, for messages; valid until the next call.
  const char* toString() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace KAVOUtils

#endif  // PLATFORM_PROCESS_H_
