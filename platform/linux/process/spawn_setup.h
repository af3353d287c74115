#ifndef PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_
#define PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_

#include <string>
#include <vector>

#include "base/process_start.h"

// Standard input empty, standard output OUTPUT (-1: thrown away), standard error thrown away or kept,
// everything else closed.
void GiveStandardStreams(ProcessStart& start, int output, bool keep_errors);

// This process's environment with the "C" locale.
std::vector<std::string> ChildEnvironment();

#endif  // PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_
