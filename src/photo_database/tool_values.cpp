#include "photo_database/tool_values.h"

#include "base/fixed_path.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "base/value_format.h"
#include "photo_database/storable_text.h"
#include "platform/files.h"
#include "platform/process.h"

namespace {

constexpr std::size_t kScriptValueSize = 32;

// The exit status of RUNNER; nothing, and a line in the log, when it could not be run.
std::optional<int> Run(KAVOUtils::ProcessRunner& runner) {
  const int status = runner.run(true, true);
  if (status >= 0) return status;
  LOG_COLON(kPhotoDatabaseSource, "Failed to pipe %s", runner.toString());
  return std::nullopt;
}

// Everything that RUNNER prints, whatever its exit status.
std::optional<std::string> Capture(KAVOUtils::ProcessRunner& runner) {
  if (!Run(runner)) return std::nullopt;
  return runner.getCapturedOutput();
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  while (!text.empty()) {
    const auto end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return pieces;
}

// One line of a value, its newline included. It is used as a format, and the newline counts into the bound.
std::string ValueLine(std::string_view line) {
  std::string value = FormatValue(line, kPathSize);
  if (value.ends_with('\n')) value.pop_back();
  return StorableText(value, kPathSize);
}

// The lines of OUTPUT one behind the other; nothing when they do not fit.
std::optional<std::string> JoinedValue(std::string_view output) {
  std::string value;
  while (!output.empty()) {
    const auto newline = output.find('\n');
    const std::size_t length = newline == std::string_view::npos ? output.size() : newline + 1;
    const std::string line = ValueLine(output.substr(0, length));
    if (value.size() + line.size() >= kPathSize) {
      LOG_COLON(kPhotoDatabaseSource, "Failed to strcat");
      return std::nullopt;
    }
    value += line;
    output.remove_prefix(length);
  }
  return value;
}

}  // namespace

std::vector<std::string> SplitLines(std::string_view text) {
  return Split(text, '\n');
}

std::vector<std::string> SplitWords(std::string_view text) {
  std::vector<std::string> words = Split(text, ' ');
  std::erase(words, "");
  return words;
}

bool IsThereToRead(const char* path) {
  if (path == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return false;
  }
  if (RLIBCFileExist(path)) return true;
  LOG_COLON(kPhotoDatabaseSource, "File not exists: %s", path);
  return false;
}

std::optional<std::string> MetadataListing(const char* option, const char* path,
                                           std::initializer_list<const char*> wanted) {
  KAVOUtils::ProcessRunner tool(kMetadataTool, kMetadataTool, option, path);
  for (const char* text : wanted) tool.wantOnly(text);
  if (Run(tool) != 0) return std::nullopt;
  return tool.getCapturedOutput();
}

std::optional<std::string> PhotoExifTagValueGet(const char* path, const char* key, std::size_t size) {
  if (path == nullptr || key == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return std::nullopt;
  }
  KAVOUtils::ProcessRunner tool(kMetadataTool, kMetadataTool, "-K", key, "-Pt", path);
  const auto output = Capture(tool);
  if (!output) return std::nullopt;
  const auto value = JoinedValue(*output);
  if (!value || value->empty()) return std::nullopt;
  return Cut(*value, size);
}

std::optional<std::string> StoredTagValue(const char* path, const char* key) {
  KAVOUtils::ProcessRunner tool(kMetadataTool, kMetadataTool, "-K", key, "-Pv", path);
  const auto output = Capture(tool);
  if (!output || output->empty()) return std::nullopt;
  return SplitLines(*output).front();
}

std::optional<std::string> PhotoGPSScriptValueGet(const char* path, const char* tag) {
  if (path == nullptr || tag == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return std::nullopt;
  }
  const std::string script = FixedPath(kGpsScript);
  if (script.empty()) return std::nullopt;
  KAVOUtils::ProcessRunner php(kPhpTool, kPhpTool, "-n", "-d", "extension_dir=/lib/php/modules", "-d",
                               "extension=exif.so", script.c_str(), "-t", tag, "-f");
  php.addArguments(path);
  const auto output = Capture(php);
  if (!output || output->empty()) return std::nullopt;
  // A newline at the very start does not end the value.
  const auto newline = output->find('\n');
  return Cut(newline == 0 ? *output : output->substr(0, newline), kScriptValueSize);
}
