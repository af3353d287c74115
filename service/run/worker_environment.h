#ifndef SERVICE_RUN_WORKER_ENVIRONMENT_H_
#define SERVICE_RUN_WORKER_ENVIRONMENT_H_

#include <string>
#include <vector>

// The environment, "NAME=VALUE" each, of a worker that stays who started the run: that of this process.
std::vector<std::string> OwnEnvironment();

// That of a worker that becomes somebody else, who can read it: language and time of this process, and
// nothing that could be a secret or lead to one. It sets what is that person's itself.
std::vector<std::string> EnvironmentForAnother();

#endif  // SERVICE_RUN_WORKER_ENVIRONMENT_H_
