#ifndef SERVICE_LIBRARY_GENERATION_H_
#define SERVICE_LIBRARY_GENERATION_H_

#include <cstdint>
#include <string>

// Which state of a database it is: every batch of a run raises the number and leaves the run's name. What
// other programs write does not count.
struct Generation {
  std::uint64_t number = 0;
  std::string run;

  bool operator==(const Generation&) const = default;
};

// Who raises it.
struct RunName {
  std::string writer;  // the catalogue that the run keeps
  std::string run;     // no other run has it
};

#endif  // SERVICE_LIBRARY_GENERATION_H_
