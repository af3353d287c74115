#include "support/system_call_trace.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>

namespace fs = std::filesystem;

namespace {

constexpr const char* kStrace = "/usr/bin/strace";
const std::set<std::string> kOpens{"open", "openat", "openat2", "creat"};
const std::set<std::string> kChanges{
    "creat",   "unlink",    "unlinkat",  "rename",    "renameat", "renameat2", "link",     "linkat",
    "symlink", "symlinkat", "mkdir",     "mkdirat",   "rmdir",    "mknod",     "mknodat",  "chmod",
    "fchmod",  "fchmodat",  "fchmodat2", "chown",     "lchown",   "fchown",    "fchownat", "truncate",
    "utime",   "utimes",    "utimensat", "ftruncate", "setxattr", "lsetxattr", "fsetxattr"};
// Given a descriptor alone, they act on what it stands for.
const std::set<std::string> kByDescriptor{"fchmod", "fchown", "ftruncate", "fsetxattr"};

// The numbers of one process's descriptors and what strace says they stand for.
using Descriptors = std::map<std::string, std::string>;

struct Name {
  std::string folder;  // what a relative name starts from
  std::string name;
};

// `7</a/path>` wherever it stands in LINE. Every line of a long trace is looked at, so without a pattern.
void NoteDescriptors(const std::string& line, Descriptors& known) {
  constexpr const char* kOfNumbers = "0123456789AT_FDCW";
  for (std::size_t at = line.find("</"); at != line.npos; at = line.find("</", at + 1)) {
    const std::size_t start = line.find_last_not_of(kOfNumbers, at - 1) + 1;
    const std::size_t end = line.find('>', at);
    if (start < at && end != line.npos)
      known[line.substr(start, at - start)] = line.substr(at + 1, end - at - 1);
  }
}

// The quoted names of the arguments, each with the folder that stands before it.
std::vector<Name> NamesIn(const std::string& arguments) {
  static const std::regex pattern(R"re((?:(?:\d+|AT_FDCWD)<([^>]*)>, )?"((?:[^"\\]|\\.)*)")re");
  std::vector<Name> names;
  for (std::sregex_iterator at(arguments.begin(), arguments.end(), pattern), end; at != end; ++at) {
    names.push_back({(*at)[1], (*at)[2]});
  }
  return names;
}

// Without the link to a descriptor at the beginning.
std::string ThroughDescriptor(const std::string& path, const Descriptors& known) {
  static const std::regex pattern(R"(^/proc/(?:self|\d+)/fd/(\d+)(/.*)?$)");
  std::smatch match;
  if (!std::regex_match(path, match, pattern)) return path;
  const auto found = known.find(match[1]);
  return found != known.end() ? found->second + match[2].str() : path;
}

// The last component may be a link that the call concerns itself.
fs::path Resolved(const fs::path& path) {
  std::error_code error;
  const fs::path parent = fs::weakly_canonical(path.parent_path(), error);
  return error ? path : parent / path.filename();
}

fs::path PathOf(const Name& name, const std::string& working_folder, const Descriptors& known) {
  const fs::path start = name.folder.empty() ? working_folder : name.folder;
  return Resolved(ThroughDescriptor((start / fs::path(name.name)).string(), known));
}

bool OpensForWriting(const std::string& arguments) {
  static const std::regex pattern("O_WRONLY|O_RDWR|O_CREAT|O_TRUNC");
  return std::regex_search(arguments, pattern);
}

// Told from the end, and most do.
bool Failed(const std::string& line) {
  const std::size_t result = line.rfind(" = ");
  return result != line.npos && line.compare(result, 4, " = -") == 0;
}

// What LINE says, nothing where it is no call of interest or one that failed.
std::vector<FileCall> CallsOf(const std::string& line, Descriptors& known) {
  static const std::regex pattern(R"(^(\w+)\((.*)\)\s+= (\d+)(?:<(.*)>)?.*$)");
  NoteDescriptors(line, known);
  const std::string call = line.substr(0, line.find('('));
  if (!kOpens.contains(call) && !kChanges.contains(call)) return {};
  if (Failed(line)) return {};
  std::smatch match;
  if (!std::regex_match(line, match, pattern)) return {};
  const std::string arguments = match[2];
  if (kOpens.contains(call)) {
    // An O_PATH descriptor opens nothing yet.
    if (arguments.find("O_PATH") != std::string::npos) return {};
    return {{match[4].str(), OpensForWriting(arguments) || call == "creat", line}};
  }
  if (kByDescriptor.contains(call)) {
    static const std::regex first(R"(^\d+<([^>]*)>)");
    std::smatch descriptor;
    const bool named = std::regex_search(arguments, descriptor, first);
    return {{named ? descriptor[1].str() : arguments, true, line}};
  }
  std::vector<FileCall> calls;
  for (const Name& name : NamesIn(arguments))
    calls.push_back({PathOf(name, known["AT_FDCWD"], known), true, line});
  return calls;
}

}  // namespace

std::string CannotTrace() {
  if (access(kStrace, X_OK) != 0) return "strace is not installed";
  const int status = std::system((std::string(kStrace) + " -o /dev/null true >/dev/null 2>&1").c_str());
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "" : "processes may not be traced here";
}

std::vector<std::string> TracerArguments(const fs::path& trace) {
  // Whole names, descriptors with what they stand for, a file a process so that no line is cut in two. Calls
  // that name no file are told only where they say what a descriptor stands for, and those that nobody asks
  // for do not stop the program, which takes most of the time.
  return {"--kill-after=5",
          "300",
          kStrace,
          "-ff",
          "-y",
          "-s",
          "4096",
          "-e",
          "trace=%file,dup,dup2,dup3,fcntl,fchdir,fchmod,fchown,ftruncate,fsetxattr",
          "-e",
          "signal=none",
          "--seccomp-bpf",
          "-o",
          trace.string()};
}

std::vector<FileCall> TakeFileCalls(const fs::path& trace) {
  std::vector<FileCall> calls;
  for (const auto& entry : fs::directory_iterator(trace.parent_path())) {
    if (!entry.path().filename().string().starts_with(trace.filename().string() + ".")) continue;
    std::ifstream lines(entry.path());
    Descriptors known;
    for (std::string line; std::getline(lines, line);) {
      for (FileCall& call : CallsOf(line, known)) calls.push_back(std::move(call));
    }
    fs::remove(entry.path());
  }
  return calls;
}
