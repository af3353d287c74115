#ifndef SERVICE_COMMON_OUTCOME_H_
#define SERVICE_COMMON_OUTCOME_H_

#include <string>
#include <utility>
#include <variant>

#include "common/exit_status.h"

// Why the program cannot go on: its exit status and the one line that it prints.
struct Failure {
  ExitStatus status = ExitStatus::kFatal;
  std::string message;
};

// A value, or why there is none.
template <typename T>
class [[nodiscard]] Outcome {
 public:
  // Implicit, so that a function returns either as it is.
  // NOLINTBEGIN(google-explicit-constructor)
  Outcome(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Outcome(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}
  // NOLINTEND(google-explicit-constructor)

  explicit operator bool() const { return state_.index() == 0; }
  T& operator*() { return std::get<0>(state_); }
  const T& operator*() const { return std::get<0>(state_); }
  T* operator->() { return &std::get<0>(state_); }
  const T* operator->() const { return &std::get<0>(state_); }
  const Failure& failure() const { return std::get<1>(state_); }

 private:
  std::variant<T, Failure> state_;
};

// The outcome of a step that has no value of its own.
struct Done {};

#endif  // SERVICE_COMMON_OUTCOME_H_
