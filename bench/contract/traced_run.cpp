#include "contract/traced_run.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string_view>

#include "process_peak.h"

namespace fs = std::filesystem;

namespace {

const std::set<std::string_view> kOpens{"open", "openat", "openat2"};
const std::set<std::string_view> kLooks{"statx", "newfstatat", "fstatat64", "stat",
                                        "lstat", "stat64",     "lstat64"};
const std::set<std::string_view> kWrites{"write", "pwrite64", "writev", "pwritev"};
const std::set<std::string_view> kMessages{"sendto", "sendmsg", "send"};
constexpr std::string_view kPhotos = ".jpg";

// One line of a trace: "name(arguments) = result".
struct Call {
  std::string_view name;
  std::string_view arguments;
  std::string_view result;
};

// Nothing but an empty name for what is no call: a signal, an end.
Call CallIn(std::string_view line) {
  const std::size_t open = line.find('(');
  const std::size_t result = line.rfind(" = ");
  if (open == line.npos || result == line.npos || line.starts_with('+') || line.starts_with('-')) return {};
  return {line.substr(0, open), line.substr(open + 1, result - open - 1), line.substr(result + 3)};
}

// An O_PATH descriptor opens nothing yet.
bool OpensPhoto(const Call& call) {
  return kOpens.contains(call.name) && call.arguments.find("O_PATH") == call.arguments.npos &&
         call.result.find(std::string(kPhotos) + ">") != call.result.npos;
}

bool LooksAtPhoto(const Call& call) {
  return kLooks.contains(call.name) && call.arguments.find(kPhotos) != call.arguments.npos;
}

void Add(const Call& call, bool of_worker, Counts& counts) {
  if (OpensPhoto(call)) ++counts["run opens of photos"];
  if (LooksAtPhoto(call)) ++counts["run looks at photos"];
  if (!of_worker) return;
  ++counts["worker system calls"];
  if (OpensPhoto(call)) ++counts["worker opens of photos"];
  if (kMessages.contains(call.name)) ++counts["worker messages"];
  if (kWrites.contains(call.name)) counts["worker bytes written"] += std::stod(std::string(call.result));
}

bool IsOfWorker(const fs::path& trace) {
  std::ifstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("execve") && line.find("lumivault-worker") != line.npos) return true;
  }
  return false;
}

void AddTrace(const fs::path& trace, Counts& counts) {
  const bool of_worker = IsOfWorker(trace);
  std::ifstream lines(trace);
  for (std::string line; std::getline(lines, line);) Add(CallIn(line), of_worker, counts);
}

// None where no worker was needed.
void AddCounted(const fs::path& file, Counts& counts) {
  double allocations = 0;
  double in_transactions = 0;
  double prepares = 0;
  double statements = 0;
  std::ifstream(file) >> allocations >> in_transactions >> prepares >> statements;
  counts["worker allocations"] = allocations;
  counts["worker allocations in transactions"] = in_transactions;
  counts["worker prepares"] = prepares;
  counts["worker statements"] = statements;
}

}  // namespace

Counts TracedIndex(const fs::path& folder, const fs::path& state, const fs::path& scratch) {
  fs::remove_all(scratch);
  fs::create_directories(scratch);
  const fs::path counted = scratch / "counted";
  static_cast<void>(SecondsOf({LUMIVAULT_STRACE,
                               "-ff",
                               "-y",
                               "-s",
                               "4096",
                               "-e",
                               "signal=none",
                               "-o",
                               (scratch / "trace").string(),
                               "-E",
                               std::string("LD_PRELOAD=") + LUMIVAULT_COUNTER,
                               "-E",
                               "LUMIVAULT_CONTRACT_COUNTS=" + counted.string(),
                               LUMIVAULT_PROGRAM,
                               "index",
                               folder.string(),
                               "-j",
                               "1",
                               "--quiet",
                               "--root",
                               state.string()}));
  Counts counts;
  AddCounted(counted, counts);
  for (const auto& entry : fs::directory_iterator(scratch)) {
    if (entry.path().filename().string().starts_with("trace.")) AddTrace(entry.path(), counts);
  }
  return counts;
}
