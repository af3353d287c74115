// Looks for what keeps the service from working. Nothing is changed.
#ifndef SERVICE_SETUP_DIAGNOSIS_H_
#define SERVICE_SETUP_DIAGNOSIS_H_

#include <string>
#include <vector>

#include "common/exit_status.h"
#include "library/library.h"
#include "library/state_root.h"

struct Finding {
  std::string subject;  // a file, a folder, a database
  std::string problem;
  std::string remedy;  // what to do
  ExitStatus status = ExitStatus::kConfiguration;
};
using Findings = std::vector<Finding>;

// The state folder with its settings and tools, and the plug-in.
Findings ExamineInstallation(const StateRoot& root);
struct LibraryExamination {
  Findings findings;
  // A run or somebody else holds the library, so that what runs have noted was not compared with it.
  bool held = false;
};
// A library with its folder and database, and what runs have noted about it.
LibraryExamination ExamineLibrary(const StateRoot& root, const Library& library);

#endif  // SERVICE_SETUP_DIAGNOSIS_H_
