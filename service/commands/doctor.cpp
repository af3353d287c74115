#include <CLI/CLI.hpp>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "commands/command.h"
#include "commands/opened_library.h"
#include "commands/settings.h"
#include "common/display.h"
#include "common/grouped.h"
#include "jobs/job_queue.h"
#include "run/report.h"
#include "setup/diagnosis.h"

namespace {

constexpr int kSchemaVersion = 1;

// The library asked for; with none asked for, the shared tree where there is one.
Outcome<std::optional<Library>> FindRequestedLibrary(const LibraryOptions& options) {
  if (options.shared) {
    auto tree = RequireSharedTree(options.folder);
    if (!tree) return tree.failure();
    return std::optional(std::move(*tree));
  }
  if (options.folder.empty()) return SharedTree();
  auto library = FindLibrary(FolderPath(options.folder));
  if (library) return library;
  return InNoLibrary(options.folder, ExitStatus::kConfiguration);
}

Json::Value QueueJson(const JobQueue& queue) {
  Json::Value json(Json::objectValue);
  SetBytes(json, "path", queue.path);
  json["jobs"] = static_cast<Json::UInt64>(queue.jobs);
  json["bytes"] = static_cast<Json::Int64>(queue.bytes);
  json["most_bytes"] = static_cast<Json::Int64>(kMostJobBytes);
  json["unread_since"] = queue.unread_since ? Json::Value(*queue.unread_since) : Json::Value();
  return json;
}

// What waits is no problem; that nobody takes it may be one.
std::string QueueText(const JobQueue& queue) {
  const std::string reader = queue.unread_since ? "nobody has taken one since " + *queue.unread_since
                                                : "none has waited through a run";
  return OnOneLine(queue.path) + ": background jobs that wait: " + Grouped(queue.jobs) + ", " +
         Grouped(static_cast<std::size_t>(queue.bytes)) + " bytes of at most " +
         Grouped(static_cast<std::size_t>(kMostJobBytes)) + "; " + reader + "\n";
}

Json::Value FindingsJson(const Findings& findings) {
  Json::Value json(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  json["healthy"] = findings.empty();
  json["problems"] = Json::Value(Json::arrayValue);
  for (const Finding& finding : findings) {
    Json::Value& problem = json["problems"].append(Json::Value(Json::objectValue));
    problem["subject"] = ValidUtf8(finding.subject);
    problem["problem"] = ValidUtf8(finding.problem);
    problem["remedy"] = ValidUtf8(finding.remedy);
  }
  return json;
}

std::string MemoryText(const std::optional<unsigned>& megabytes) {
  if (!megabytes) return "";
  return "memory of a worker: " +
         (megabytes == 0 ? "no limit" : std::to_string(*megabytes) + " MiB at most") + "\n";
}

std::string FindingsText(const Findings& findings, const std::optional<unsigned>& memory) {
  if (findings.empty()) return "all is well\n" + MemoryText(memory);
  std::string text;
  for (const Finding& finding : findings) {
    text.append(OnOneLine(finding.subject + ": " + finding.problem)).append("\n");
    text.append("  ").append(OnOneLine(finding.remedy)).append("\n");
  }
  return text;
}

// There may be no such library, and things to say about the installation all the same.
int ReportNoLibrary(const Findings& findings, const Failure& failure, bool json) {
  if (findings.empty()) return ReportFailure(failure, json);
  ReportFailure(failure);
  if (!json) return PrintResult(FindingsText(findings, std::nullopt), failure.status);
  Json::Value object = FindingsJson(findings);
  const Json::Value failed = FailureJson(failure);
  for (const std::string& member : failed.getMemberNames()) object[member] = failed[member];
  return PrintResult(JsonLine(object) + "\n", failure.status);
}

std::string HeldText(const Library& library) {
  return Visible(library.folder) +
         ": held by a run, or locked by somebody else, so what runs have noted was not compared\n";
}

Json::Value WithMemory(Json::Value json, const std::optional<unsigned>& megabytes) {
  json["worker_memory"] = megabytes ? Json::Value(*megabytes) : Json::Value();
  return json;
}

int Examine(const LibraryOptions& options) {
  const auto root = StateRoot::Locate(options.root);
  if (!root) return ReportFailure(root.failure(), options.json);
  Findings findings = ExamineInstallation(*root);
  const auto setting = EffectiveWorkerMemory(options.root);
  if (!setting)
    findings.push_back({"settings", setting.failure().message, "lumivault config check names every mistake"});
  const std::optional<unsigned> memory =
      setting ? std::optional(static_cast<unsigned>(std::stoul(setting->value, nullptr, 0))) : std::nullopt;
  const auto library = FindRequestedLibrary(options);
  if (!library) return ReportNoLibrary(findings, library.failure(), options.json);
  bool held = false;
  if (*library) {
    LibraryExamination more = ExamineLibrary(*root, **library);
    findings.insert(findings.end(), std::make_move_iterator(more.findings.begin()),
                    std::make_move_iterator(more.findings.end()));
    held = more.held;
  }
  const ExitStatus status = findings.empty() ? ExitStatus::kDone : findings.front().status;
  const auto queue = ReadJobQueue(*root);
  if (!options.json)
    return PrintResult(
        FindingsText(findings, memory) + (held ? HeldText(**library) : "") + (queue ? QueueText(*queue) : ""),
        status);
  Json::Value json = WithMemory(FindingsJson(findings), memory);
  if (held) json["held"] = true;
  if (queue) json["job_queue"] = QueueJson(*queue);
  return PrintResult(JsonLine(json) + "\n", status);
}

}  // namespace

Runner DefineDoctor(CLI::App& app) {
  const auto options = AddLibraryOptions(app);
  AddJsonOption(app, *options, "Print the result as one JSON object");
  // It looks at every page of the file.
  app.get_option("--read-timeout")
      ->description("How long one question to the database may take, in seconds; default 600");
  return [options] { return Examine(*options); };
}
