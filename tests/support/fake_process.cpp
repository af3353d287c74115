// Programs.
#include "platform/process.h"

#include <algorithm>

#include "support/fake_record.h"

namespace {

// Runs COMMAND: its status, and what it prints into OUTPUT.
int Answer(const std::string& command, std::string* output) {
  const FakePlatform& fake = FakePlatform::Get();
  if (fake.on_program) fake.on_program(command);
  for (const auto& [part, answer] : fake.programs) {
    if (command.find(part) == std::string::npos) continue;
    if (output != nullptr) *output = answer.second;
    return answer.first;
  }
  return -1;
}

std::string Joined(const std::string& program, const std::vector<std::string>& arguments) {
  std::string line = program;
  for (const std::string& argument : arguments) line += " " + argument;
  return line;
}

std::vector<std::string> UpToNull(std::initializer_list<const char*> texts) {
  std::vector<std::string> arguments;
  for (const char* text : texts) {
    if (text == nullptr) break;
    arguments.emplace_back(text);
  }
  return arguments;
}

}  // namespace

int RLIBCExec(const char* program, const char* argument1, const char* argument2, const char* argument3,
              const char* argument4) {
  return Answered("RLIBCExec", [&]() -> int {
    const std::string command = Joined(program, UpToNull({argument1, argument2, argument3, argument4}));
    if (Fails("RLIBCExec", command)) return -1;
    return Answer(command, nullptr);
  });
}

namespace KAVOUtils {

class ProcessRunner::Impl {
 public:
  std::string program;
  std::vector<std::string> arguments;  // the first is the program's own name
  std::string output;
  mutable std::string line;

  std::string Command() const {
    const auto first = arguments.empty() ? arguments.begin() : arguments.begin() + 1;
    return Joined(program, {first, arguments.end()});
  }
};

ProcessRunner::ProcessRunner(const char* program, const char* a0, const char* a1, const char* a2,
                             const char* a3, const char* a4, const char* a5, const char* a6, const char* a7,
                             const char* a8, const char* a9)
    : impl_(std::make_unique<Impl>()) {
  impl_->program = program;
  impl_->arguments = UpToNull({a0, a1, a2, a3, a4, a5, a6, a7, a8, a9});
}

ProcessRunner::~ProcessRunner() = default;

void ProcessRunner::addArguments(const char* a0, const char* a1, const char* a2, const char* a3,
                                 const char* a4) {
  for (const std::string& argument : UpToNull({a0, a1, a2, a3, a4})) impl_->arguments.push_back(argument);
}

void ProcessRunner::wantOnly(const char* /*text*/, const char* /*other_text*/) {}

int ProcessRunner::run(bool /*wait*/, bool capture) {
  impl_->output.clear();
  if (Fails("ProcessRunner", impl_->Command())) return -1;
  const int status = Answer(impl_->Command(), capture ? &impl_->output : nullptr);
  std::replace(impl_->output.begin(), impl_->output.end(), '\0', ' ');
  return status;
}

const char* ProcessRunner::getCapturedOutput() const {
  return impl_->output.c_str();
}

const char* ProcessRunner::toString() const {
  impl_->line = impl_->Command();
  return impl_->line.c_str();
}

}  // namespace KAVOUtils
