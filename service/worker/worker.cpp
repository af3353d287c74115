#include "worker/worker.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "common/display.h"
#include "common/error_text.h"
#include "common/exit_status.h"
#include "jobs/unread_jobs.h"
#include "library/library.h"
#include "library/root_variable.h"
#include "platform/media_file.h"
#include "probe/probe.h"
#include "work/database_file.h"
#include "work/wire.h"
#include "work/worker_arguments.h"
#include "work/write_turn.h"
#include "worker/batch_runner.h"
#include "worker/lent_database.h"
#include "worker/library_session.h"
#include "worker/log_capture.h"
#include "worker/memory_limit.h"
#include "worker/plugin.h"
#include "worker/plugin_calls.h"
#include "worker/prepared_item.h"
#include "worker/row_lookup.h"
#include "worker/supervisor_channel.h"

namespace {

// In bytes: so long a queue of jobs that nobody reads is left to the end of the run.
constexpr std::int64_t kToleratedJobs = 65536;

// A worker ends with its supervisor, whose signals are for it alone: it tells its workers to stop. After the
// identity, since becoming somebody else clears the death signal; the parent is asked last, since it may have
// gone before that was set.
bool BindToSupervisor(pid_t supervisor) {
  // A file that reaches its size limit is an error like a full disk.
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) signal(signal_number, SIG_IGN);
  prctl(PR_SET_NAME, "lumivault");  // it was started by the number of a descriptor
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return getppid() == supervisor;
}

int Refuse(Channel& channel, const Failure& failure) {
  const MessageWriter reason = MessageWriter()
                                   .Number(static_cast<std::uint32_t>(failure.status))
                                   .Text(std::string_view(failure.message).substr(0, kLongestReason));
  return channel.Send(MessageType::kUnusable, reason.content()) ? static_cast<int>(failure.status)
                                                                : static_cast<int>(ExitStatus::kFatal);
}

Failure FolderGone(const Library& library) {
  return {ExitStatus::kConfiguration, AboutFile(library.folder, ErrorText(errno))};
}

bool AnnounceDatabase(Channel& channel, const std::string& path) {
  return channel.Send(MessageType::kReady, MessageWriter().Text(FileIdentity(path)).content());
}

int Serve(Channel& channel, BatchRunner& runner, const std::string& database) {
  if (!AnnounceDatabase(channel, database)) return static_cast<int>(ExitStatus::kFatal);
  while (const auto message = channel.Receive()) {
    if (message->type == MessageType::kStop) {
      DropUnreadJobs(0);
      break;
    }
    const auto batch = DecodeBatch(message->content);
    if (message->type != MessageType::kBatch || !batch) return static_cast<int>(ExitStatus::kFatal);
    const bool goes_on = runner.Run(*batch);
    DropUnreadJobs(goes_on ? kToleratedJobs : 0);
    if (goes_on) continue;
    if (runner.failure()) return Refuse(channel, *runner.failure());
    break;
  }
  return static_cast<int>(ExitStatus::kDone);
}

// What whoever started the run had open himself is not for whom this process becomes, nor for the programs
// that it starts.
void CloseInherited(const WorkerOptions& options) {
  closefrom(options.identity ? kWorkerView + 1 : kWorkerView);
}

// From now on it sees of the state folder what it was handed, and so do the programs that it starts.
void UseView() {
  fcntl(kWorkerView, F_SETFD, FD_CLOEXEC);
  const std::string view = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(kWorkerView);
  setenv(kRootVariable, view.c_str(), 1);
}

// Nothing of anybody's is read before.
std::optional<Failure> TakeIdentity(uid_t identity) {
  UseView();
  if (BecomeUser(identity)) return std::nullopt;
  return Failure{ExitStatus::kConfiguration, "a worker cannot become user " + std::to_string(identity) +
                                                 ": " + ErrorText(errno) + " (see --as-root)"};
}

}  // namespace

bool StartedBySupervisor() {
  return fcntl(kWorkerSocket, F_GETFD) >= 0 && fcntl(kWorkerLogPipe, F_GETFD) >= 0;
}

int RunWorker(const WorkerOptions& options) {
  CloseInherited(options);
  fcntl(kWorkerSocket, F_SETFD, FD_CLOEXEC);
  fcntl(kWorkerLogPipe, F_SETFD, FD_CLOEXEC);
  Channel channel{FileDescriptor(kWorkerSocket)};
  LogCapture log{FileDescriptor(kWorkerLogPipe)};
  const WriteTurn turn(kWorkerTurn);
  close(kWorkerTurn);
  // Its file may be out of the reach of whoever this process becomes. Where it is not to be had, that is said
  // when the folder and its database are found to be in order: what is wrong with those comes first.
  const auto plugin = Plugin::Load(options.plugin);
  LimitMemory(options.memory);
  if (options.identity) {
    if (const auto failure = TakeIdentity(*options.identity)) return Refuse(channel, *failure);
  }
  if (!BindToSupervisor(options.supervisor)) return static_cast<int>(ExitStatus::kFatal);
  MuteProbeLibraries();
  if (KAVOMediaFolderHold(options.library.folder.c_str()) != 0)
    return Refuse(channel, FolderGone(options.library));

  const std::string database = options.library.database();
  // Where it is gone, the plug-in would make another one. The supervisor ends a run that is told of another.
  if (!options.database.empty() && FileIdentity(database) != options.database) {
    return static_cast<int>(AnnounceDatabase(channel, database) ? ExitStatus::kDatabase : ExitStatus::kFatal);
  }
  if (!plugin) return Refuse(channel, plugin.failure());
  auto session = LibrarySession::Open(*plugin, log, options.library);
  if (!session) return Refuse(channel, session.failure());
  RowLookup rows(options.library);
  LentDatabase lent(database, rows);
  PluginCalls calls(*plugin, options.library, log, rows);
  SupervisorChannel giver(channel);
  BatchRunner runner(
      {lent, calls, giver, turn, [&](const WorkItem& item) { return ReadItem(item, options.library); }});
  return Serve(channel, runner, database);
}
