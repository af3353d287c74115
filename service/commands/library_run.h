// How a command's run over one library begins and ends.
#ifndef SERVICE_COMMANDS_LIBRARY_RUN_H_
#define SERVICE_COMMANDS_LIBRARY_RUN_H_

#include <functional>

#include "commands/run_options.h"
#include "common/outcome.h"
#include "run/index_run.h"

// Makes the folder a library, or takes the shared tree, holds it, and calls WORK with the run; prints the
// result. The exit status.
int RunOnLibrary(const RunOptions& options, const std::function<Outcome<Done>(IndexRun&)>& work);

#endif  // SERVICE_COMMANDS_LIBRARY_RUN_H_
