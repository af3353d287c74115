#ifndef TESTS_SUPPORT_CHILD_PROCESSES_H_
#define TESTS_SUPPORT_CHILD_PROCESSES_H_

#include <pthread.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

// A process that runs BODY and ends with its result as exit status, without the cleaning up of this one. One
// that waits for what never comes, since another one died, is killed.
template <typename Body>
pid_t StartChild(Body&& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr unsigned kLongest = 300;  // seconds
    alarm(kLongest);
    _exit(body());
  }
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

// A place where COUNT processes, children of the one that makes it, wait for each other again and again.
class MeetingPoint {
 public:
  explicit MeetingPoint(int count) {
    void* memory =
        mmap(nullptr, sizeof(pthread_barrier_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    barrier_ = static_cast<pthread_barrier_t*>(memory);
    pthread_barrierattr_t attributes;
    pthread_barrierattr_init(&attributes);
    pthread_barrierattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_barrier_init(barrier_, &attributes, static_cast<unsigned>(count));
    pthread_barrierattr_destroy(&attributes);
  }
  ~MeetingPoint() {
    if (barrier_ != nullptr) munmap(barrier_, sizeof(pthread_barrier_t));
  }
  MeetingPoint(const MeetingPoint&) = delete;
  MeetingPoint& operator=(const MeetingPoint&) = delete;

  // Returns in all of them at the same moment.
  void Wait() const { pthread_barrier_wait(barrier_); }

 private:
  pthread_barrier_t* barrier_ = nullptr;
};

#endif  // TESTS_SUPPORT_CHILD_PROCESSES_H_
