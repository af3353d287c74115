#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/rooted_path.h"
#include "platform/process.h"
#include "process/metadata_tool.h"
#include "process/schema_tool.h"
#include "process/spawn.h"

namespace {

constexpr int kNotRun = -1;

using Arguments = std::vector<std::string>;

// Up to the first null.
void Append(Arguments& arguments, std::initializer_list<const char*> more) {
  for (const char* argument : more) {
    if (argument == nullptr) return;
    arguments.emplace_back(argument);
  }
}

// The appliance's own programs lie in its tree, wherever that is; others, the shell above all, are where they
// are.
bool BelongsToAppliance(std::string_view program) {
  constexpr std::array<std::string_view, 2> kFolders = {"/usr/kavo/", "/var/packages/"};
  return program == "/usr/bin/php" ||
         std::any_of(kFolders.begin(), kFolders.end(),
                     [&](std::string_view folder) { return program.starts_with(folder); });
}

// Of any length: the program at the fixed path itself is another one.
std::string PlaceOf(const std::string& program) {
  return BelongsToAppliance(program) ? RootedPath(program) : program;
}

bool IsExecutable(const std::string& path) {
  return access(path.c_str(), X_OK) == 0;
}

// The shell's command for a personal database, where its tool is not there.
std::optional<SchemaCommand> BuiltInSchemaCommand(const SpawnRequest& request) {
  if (request.program != kShellProgram) return std::nullopt;
  const std::string tool = RootedPath(kDatabaseToolProgram);
  const auto command = UnderstandSchemaCommand(request.arguments);
  return command && command->tool == tool && !IsExecutable(tool) ? command : std::nullopt;
}

// An executable of that name wins over the built-in one.
std::optional<SpawnResult> Run(SpawnRequest request, const WantedTexts& wanted = {}) {
  if (const auto command = BuiltInSchemaCommand(request)) return AnswerSchemaCommand(*command);
  const std::string path = PlaceOf(request.program);
  if (IsExecutable(path)) {
    request.program = path;
    return RunProgram(request);
  }
  if (request.program == kMetadataToolProgram) return AnswerMetadataQuestion(request.arguments, wanted);
  RECORD_ERROR(errno);
  return std::nullopt;
}

}  // namespace

int RLIBCExec(const char* program, const char* argument1, const char* argument2, const char* argument3,
              const char* argument4) {
  return WithoutExceptions(kNotRun, [&] {
    if (program == nullptr) {
      RECORD_ERROR(EINVAL);
      return kNotRun;
    }
    SpawnRequest request{.program = program, .arguments = {program}, .keep_errors = true};
    Append(request.arguments, {argument1, argument2, argument3, argument4});
    const std::optional<SpawnResult> result = Run(std::move(request));
    return result ? result->status : kNotRun;
  });
}

namespace KAVOUtils {

class ProcessRunner::Impl {
 public:
  std::string program;
  Arguments arguments;
  WantedTexts wanted;
  std::string output;
  mutable std::string command;
};

ProcessRunner::ProcessRunner(const char* program, const char* a0, const char* a1, const char* a2,
                             const char* a3, const char* a4, const char* a5, const char* a6, const char* a7,
                             const char* a8, const char* a9)
    : impl_(std::make_unique<Impl>()) {
  if (program != nullptr) impl_->program = program;
  Append(impl_->arguments, {a0, a1, a2, a3, a4, a5, a6, a7, a8, a9});
}

ProcessRunner::~ProcessRunner() = default;

void ProcessRunner::addArguments(const char* a0, const char* a1, const char* a2, const char* a3,
                                 const char* a4) {
  Append(impl_->arguments, {a0, a1, a2, a3, a4});
}

void ProcessRunner::wantOnly(const char* text, const char* other_text) {
  Append(impl_->wanted, {text, other_text});
}

int ProcessRunner::run(bool wait, bool capture) {
  impl_->output.clear();
  return WithoutExceptions(kNotRun, [&] {
    if (!wait) {
      RECORD_ERROR(EINVAL);
      return kNotRun;
    }
    std::optional<SpawnResult> result =
        Run({.program = impl_->program, .arguments = impl_->arguments, .capture = capture}, impl_->wanted);
    if (!result) return kNotRun;
    // A part of an output must not pass for all of it, neither after the cap nor before a NUL byte.
    if (!result->complete) {
      RECORD_ERROR(EFBIG);
      return kNotRun;
    }
    if (capture) impl_->output = std::move(result->output);
    std::replace(impl_->output.begin(), impl_->output.end(), '\0', ' ');
    return result->status;
  });
}

const char* ProcessRunner::getCapturedOutput() const {
  return impl_->output.c_str();
}

const char* ProcessRunner::toString() const {
  impl_->command.clear();
  for (const std::string& argument : impl_->arguments) {
    if (!impl_->command.empty()) impl_->command += ' ';
    impl_->command += argument;
  }
  return impl_->command.c_str();
}

}  // namespace KAVOUtils
