#ifndef TESTS_SUPPORT_CHILD_PROCESSES_H_
#define TESTS_SUPPORT_CHILD_PROCESSES_H_

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

// A process that runs BODY and ends with its result as exit status, without the cleaning up of this one.
template <typename Body>
pid_t StartChild(Body&& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  return child;
}

// How it ended, as waitpid tells it.
inline int WaitFor(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// COUNT processes at once, each with its number from 0; true when all ended with 0.
template <typename Body>
bool RunChildren(int count, Body&& body) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) children.push_back(StartChild([&, i] { return body(i); }));
  bool fine = true;
  for (const pid_t child : children) fine = WaitFor(child) == 0 && fine;
  return fine;
}

#endif  // TESTS_SUPPORT_CHILD_PROCESSES_H_
