#ifndef BASE_PROCESS_START_H_
#define BASE_PROCESS_START_H_

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>

#include <string>
#include <vector>

// What a new process is given, step by step, and its start. A process that lacks a part of it would do
// something else than what it was started for, so after a step that fails nothing is started.
class ProcessStart {
 public:
  // No signal is blocked.
  ProcessStart() {
    Note(posix_spawn_file_actions_init(&actions_));
    Note(posix_spawnattr_init(&attributes_));
    sigset_t none;
    sigemptyset(&none);
    if (Goes()) Note(posix_spawnattr_setsigmask(&attributes_, &none));
    AddFlag(POSIX_SPAWN_SETSIGMASK);
  }
  ~ProcessStart() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  ProcessStart(const ProcessStart&) = delete;
  ProcessStart& operator=(const ProcessStart&) = delete;

  // What it has as the descriptor AS: FROM of this process, or /dev/null opened with FLAGS. In this order.
  void Give(int from, int as) {
    if (Goes()) Note(posix_spawn_file_actions_adddup2(&actions_, from, as));
  }
  void GiveNothing(int as, int flags) {
    if (Goes()) Note(posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", flags, 0));
  }
  // Closed in it: one, or all from FIRST on.
  void Close(int descriptor) {
    if (Goes()) Note(posix_spawn_file_actions_addclose(&actions_, descriptor));
  }
#if defined(__GLIBC_PREREQ) && __GLIBC_PREREQ(2, 34)
  void CloseFrom(int first) {
    if (Goes()) Note(posix_spawn_file_actions_addclosefrom_np(&actions_, first));
  }
#endif

  // Every signal does what it does by default.
  void ResetSignals() {
    sigset_t all;
    sigfillset(&all);
    if (Goes()) Note(posix_spawnattr_setsigdefault(&attributes_, &all));
    AddFlag(POSIX_SPAWN_SETSIGDEF);
  }
  // It leads a process group.
  void LeadGroup() {
    if (Goes()) Note(posix_spawnattr_setpgroup(&attributes_, 0));
    AddFlag(POSIX_SPAWN_SETPGROUP);
  }

  // Starts PROGRAM, a path. 0 and its ID, or why it is not started, as in errno.
  [[nodiscard]] int Run(const char* program, const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment, pid_t& id) const {
    if (!Goes()) return error_;
    return posix_spawn(&id, program, &actions_, &attributes_, PointersTo(arguments).data(),
                       PointersTo(environment).data());
  }

 private:
  bool Goes() const {
    return error_ == 0;
  }
  void Note(int error) {
    if (error_ == 0) error_ = error;
  }
  void AddFlag(int flag) {
    flags_ = static_cast<short>(flags_ | flag);
    if (Goes()) Note(posix_spawnattr_setflags(&attributes_, flags_));
  }
  // As exec takes them; valid while TEXTS is.
  static std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    // The interface predates const; the texts are only read.
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
  short flags_ = 0;
  int error_ = 0;  // of the first step that failed
};

#endif  // BASE_PROCESS_START_H_
