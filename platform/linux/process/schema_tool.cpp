#include "process/schema_tool.h"

#include <errno.h>
#include <fcntl.h>

#include <cstddef>

#include "base/file_descriptor.h"
#include "base/read_on.h"
#include "core/error.h"
#include "db/failed_creations.h"
#include "db/sqlite_creation.h"

namespace {

constexpr int kDone = 0;
constexpr int kNotMade = 1;
constexpr int kNoScript = 2;  // of a shell that cannot open what is redirected
constexpr std::size_t kMostScript = std::size_t{1} << 20;

// Reads words as the shell does; each is taken off the front of what is left.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  // A bare word of harmless characters, or one in double quotes.
  std::optional<std::string> Next() {
    if (!rest_.starts_with('"')) return Bare();
    rest_.remove_prefix(1);
    std::string word;
    while (!rest_.empty() && rest_.front() != '"') {
      if (!TakeQuoted(word)) return std::nullopt;
    }
    if (rest_.empty()) return std::nullopt;
    rest_.remove_prefix(1);
    return word;
  }
  bool Skip(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }
  [[nodiscard]] bool AtEnd() const { return rest_.empty(); }

 private:
  std::optional<std::string> Bare() {
    constexpr const char* kHarmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-";
    std::string word(rest_.substr(0, rest_.find_first_not_of(kHarmless)));
    rest_.remove_prefix(word.size());
    return word.empty() ? std::nullopt : std::optional(word);
  }
  // The next character inside quotes. What the shell would replace there has no place in a name.
  bool TakeQuoted(std::string& word) {
    constexpr std::string_view kSpecial = "\"$`\\";
    if (rest_.front() == '$' || rest_.front() == '`') return false;
    if (rest_.front() == '\\') {
      rest_.remove_prefix(1);
      if (rest_.empty() || kSpecial.find(rest_.front()) == kSpecial.npos) return false;
    }
    word += rest_.front();
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
};

std::optional<std::string> ReadScript(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return std::nullopt;
  std::string script;
  if (!ReadOn(file.get(), kMostScript + 1, script)) return std::nullopt;
  if (script.size() <= kMostScript) return script;
  errno = EFBIG;
  return std::nullopt;
}

int Make(const SchemaCommand& command) {
  const std::optional<std::string> script = ReadScript(command.script);
  if (!script) {
    RECORD_ERROR(errno);
    return kNoScript;
  }
  if (MakeSqliteDatabase(command.database, *script)) return kDone;
  RECORD_ERROR(errno);
  return kNotMade;
}

}  // namespace

std::optional<SchemaCommand> UnderstandSchemaCommand(const std::vector<std::string>& arguments) {
  constexpr std::size_t kParts = 3;
  if (arguments.size() != kParts || arguments[0] != kShellProgram || arguments[1] != "-c")
    return std::nullopt;
  Words words(arguments[2]);
  const auto tool = words.Next();
  if (!tool || !words.Skip(" ")) return std::nullopt;
  const auto database = words.Next();
  if (!database || !words.Skip(" < ")) return std::nullopt;
  const auto script = words.Next();
  if (!script || !words.AtEnd()) return std::nullopt;
  return SchemaCommand{*tool, *database, *script};
}

std::optional<SpawnResult> AnswerSchemaCommand(const SchemaCommand& command) noexcept {
  return WithoutExceptions(std::optional<SpawnResult>(), [&]() -> std::optional<SpawnResult> {
    const int status = Make(command);
    NoteCreation(command.database, status == kDone);
    return SpawnResult{status, {}};
  });
}
