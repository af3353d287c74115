#include "run/report.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

#include "common/display.h"
#include "common/grouped.h"

namespace {

constexpr int kSchemaVersion = 2;
constexpr std::size_t kMostWithheldLines = 50;

double Seconds(const IndexReport& report) {
  return std::chrono::duration<double>(report.elapsed).count();
}

Json::Value Number(std::size_t number) {
  return Json::Value(static_cast<Json::UInt64>(number));
}

std::size_t TotalOf(const std::map<std::string, std::size_t>& counts) {
  std::size_t sum = 0;
  for (const auto& [reason, count] : counts) sum += count;
  return sum;
}

using FileProblems = std::vector<FileProblem>;

std::size_t KnownAmong(const FileProblems& problems) {
  return static_cast<std::size_t>(
      std::count_if(problems.begin(), problems.end(), [](const auto& problem) { return problem.known; }));
}

void WriteProblems(const char* what, const FileProblems& problems, bool known, std::ostream& out) {
  for (const FileProblem& problem : problems) {
    if (problem.known == known)
      out << what << ": " << Visible(problem.path) << ": " << Visible(problem.reason) << '\n';
  }
}

// WHAT happened before, for each or in one number.
void WriteKnown(const char* what, const FileProblems& problems, bool listed, std::ostream& out) {
  if (listed) return WriteProblems(what, problems, true, out);
  const std::size_t known = KnownAmong(problems);
  if (known > 0) out << known << ' ' << what << ", unchanged (--failed lists them)\n";
}

Json::Value ProblemsJson(const FileProblems& problems) {
  Json::Value list(Json::arrayValue);
  for (const FileProblem& problem : problems) {
    Json::Value& json = list.append(Json::Value(Json::objectValue));
    SetBytes(json, "path", problem.path);
    json["reason"] = ValidUtf8(problem.reason);
    json["known"] = problem.known;
  }
  return list;
}

// Why rows were kept, and of what.
void WriteWithheld(const IndexReport& report, std::ostream& out) {
  if (report.withheld_reason.empty()) return;
  out << (report.deleted == 0 ? "nothing" : "not everything") << " was deleted: " << report.withheld_reason
      << " (--accept-loss goes on)\n";
  std::size_t lines = 0;
  for (const std::string& path : report.withheld) {
    if (lines++ == kMostWithheldLines) {
      out << "would go: " << report.withheld.size() - kMostWithheldLines << " more\n";
      break;
    }
    out << "would go: " << Visible(path) << '\n';
  }
}

Json::Value WithheldJson(const IndexReport& report) {
  Json::Value json(Json::objectValue);
  json["reason"] = report.withheld_reason;
  json["paths"] = Json::Value(Json::arrayValue);
  for (const std::string& path : report.withheld) {
    SetBytes(json["paths"].append(Json::Value(Json::objectValue)), "path", path);
  }
  return json;
}

}  // namespace

bool IndexReport::HasNewFailure() const {
  return KnownAmong(failed) < failed.size();
}

std::string ReportText(const IndexReport& report, bool lists_known) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << Visible(report.library.folder) << ": found " << report.found << ", added " << report.added
      << ", skipped " << TotalOf(report.skipped) << ", failed "
      << report.failed.size() - KnownAmong(report.failed) << ", folders " << report.folders << ", unchanged "
      << report.unchanged << ", moved " << report.moved << ", deleted " << report.deleted << ", "
      << Seconds(report) << " s" << (report.interrupted ? ", interrupted" : "") << '\n';
  for (const auto& [reason, count] : report.skipped)
    out << "skipped: " << Visible(reason) << ": " << count << '\n';
  WriteProblems("failed", report.failed, false, out);
  WriteProblems("note", report.notes, false, out);
  WriteKnown("failed before", report.failed, lists_known, out);
  WriteKnown("noted before", report.notes, lists_known, out);
  if (report.dropped_jobs > 0) {
    out << "dropped: " << Grouped(report.dropped_jobs)
        << " background jobs that nobody took (see lumivault doctor)\n";
  }
  WriteWithheld(report, out);
  return out.str();
}

Json::Value FailureJson(const Failure& failure) {
  Json::Value json(Json::objectValue);
  SetBytes(json, "error", failure.message);
  json["status"] = static_cast<int>(failure.status);
  return json;
}

Json::Value ReportJson(const IndexReport& report, const std::optional<Failure>& failure) {
  Json::Value json = failure ? FailureJson(*failure) : Json::Value(Json::objectValue);
  json["schema_version"] = kSchemaVersion;
  SetBytes(json, "library", report.library.folder);
  SetBytes(json, "database", report.library.database());
  json["found"] = Number(report.found);
  json["added"] = Number(report.added);
  json["folders"] = Number(report.folders);
  json["unchanged"] = Number(report.unchanged);
  json["moved"] = Number(report.moved);
  json["deleted"] = Number(report.deleted);
  json["seconds"] = Seconds(report);
  json["interrupted"] = report.interrupted;
  if (!report.withheld_reason.empty()) json["withheld"] = WithheldJson(report);
  json["skipped"] = Json::Value(Json::objectValue);
  for (const auto& [reason, count] : report.skipped) json["skipped"][reason] = Number(count);
  json["failed"] = ProblemsJson(report.failed);
  json["notes"] = ProblemsJson(report.notes);
  if (report.dropped_jobs > 0) json["dropped_jobs"] = Number(report.dropped_jobs);
  return json;
}
