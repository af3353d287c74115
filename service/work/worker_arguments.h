// How a supervisor starts the program lumivault-worker.
#ifndef SERVICE_WORK_WORKER_ARGUMENTS_H_
#define SERVICE_WORK_WORKER_ARGUMENTS_H_

// Descriptors that a worker is started with, besides standard error, which is the writing end of the log
// pipe.
inline constexpr int kWorkerSocket = 3;
inline constexpr int kWorkerLogPipe = 4;
inline constexpr int kWorkerTurn = 5;
inline constexpr int kWorkerView = 6;  // of the state folder, for one that becomes somebody else

// The arguments of the program after the file of the plug-in, the folder, the database and the supervisor's
// number are the memory and the kind of library; the user's follows for one that becomes somebody else.
inline constexpr const char* kPersonalArgument = "personal";
inline constexpr const char* kSharedArgument = "shared";

#endif  // SERVICE_WORK_WORKER_ARGUMENTS_H_
