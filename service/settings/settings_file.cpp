#include "settings/settings_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "base/file_descriptor.h"
#include "base/read_on.h"
#include "common/display.h"
#include "common/error_text.h"
#include "common/person_folder.h"

namespace {

constexpr const char* kMachineFile = "/etc/lumivault/lumivault.conf";
constexpr const char* kPersonalFile = "/lumivault/lumivault.conf";
constexpr const char* kFileVariable = "LUMIVAULT_CONFIG";
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr const char* kBlanks = " \t\r";

std::string_view WithoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view WithoutQuotes(std::string_view text) {
  const bool quoted = text.size() > 1 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

void TakeLine(std::string_view text, int line, SettingsFile& file) {
  text = WithoutBlanks(text);
  if (text.empty() || text.front() == '#') return;
  const std::size_t sign = text.find('=');
  const std::string_view key = WithoutBlanks(text.substr(0, sign));
  if (sign == std::string_view::npos || key.empty()) {
    file.mistakes.push_back({line, "neither key=value nor a comment"});
  } else if (text.find('\0') != std::string_view::npos) {
    file.mistakes.push_back({line, "has a NUL byte"});
  } else {
    file.settings.push_back(
        {std::string(key), std::string(WithoutQuotes(WithoutBlanks(text.substr(sign + 1)))), line});
  }
}

// Why FILE is refused; nothing when it is not.
std::optional<std::string> Distrust(const struct stat& file) {
  if (!S_ISREG(file.st_mode)) return "not a regular file";
  const uid_t caller = geteuid();
  if (file.st_uid != caller && file.st_uid != 0) return "belongs to somebody else, so it is refused";
  const mode_t others = caller == 0 ? S_IWGRP | S_IWOTH : S_IWOTH;
  if ((file.st_mode & others) != 0) return "others may change it, so it is refused (chmod go-w)";
  return std::nullopt;
}

}  // namespace

SettingsFile ParseSettings(std::string path, std::string_view text) {
  SettingsFile file{std::move(path), {}, {}};
  for (int line = 1; !text.empty(); ++line) {
    const std::size_t end = text.find('\n');
    TakeLine(text.substr(0, end), line, file);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return file;
}

std::string SettingsPlace() {
  if (const char* named = getenv(kFileVariable)) return named;
  if (geteuid() == 0) return kMachineFile;
  const std::string folder = PersonFolder("XDG_CONFIG_HOME", ".config");
  return folder.empty() ? "" : folder + kPersonalFile;
}

Outcome<SettingsFile> ReadCallersSettings() {
  const std::string path = SettingsPlace();
  const bool named = getenv(kFileVariable) != nullptr;
  // A home may be somebody else's, who keeps it closed (sudo, runuser).
  const bool may_lack =
      !named && access(path.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR || errno == EACCES);
  return path.empty() || may_lack ? Outcome<SettingsFile>(SettingsFile{}) : ReadSettingsFile(path);
}

Outcome<SettingsFile> ReadSettingsFile(const std::string& path) {
  const auto failure = [&](const std::string& why) {
    return Failure{ExitStatus::kConfiguration, AboutFile(path, why)};
  };
  const FileDescriptor opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!opened) return failure(ErrorText(errno));
  struct stat file {};
  if (fstat(opened.get(), &file) != 0) return failure(ErrorText(errno));
  if (const auto why = Distrust(file)) return failure(*why);
  std::string text;
  if (!ReadOn(opened.get(), kMostBytes + 1, text)) return failure(ErrorText(errno));
  if (text.size() > kMostBytes) return failure("larger than 1 MiB");
  return ParseSettings(path, text);
}
