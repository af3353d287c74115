#include "watch/watch_news.h"

#include <sstream>

#include "common/display.h"

namespace {

const char* NameOf(WatchEvent event) {
  switch (event) {
    case WatchEvent::kWatching:
      return "watching";
    case WatchEvent::kRun:
      return "run";
    case WatchEvent::kAway:
      return "away";
    case WatchEvent::kFailed:
      return "failed";
    case WatchEvent::kUnwatched:
      return "unwatched";
    case WatchEvent::kOverflow:
      return "overflow";
  }
  return "";
}

void Count(std::ostream& out, const char* what, std::size_t number) {
  if (number > 0) out << ", " << what << ' ' << number;
}

std::size_t NewOnes(const std::vector<FileProblem>& problems) {
  std::size_t count = 0;
  for (const FileProblem& problem : problems) count += problem.known ? 0U : 1U;
  return count;
}

std::string RunText(const IndexReport& report) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << Visible(report.library.folder) << ": " << std::chrono::duration<double>(report.elapsed).count()
      << " s";
  Count(out, "added", report.added);
  Count(out, "folders", report.folders);
  Count(out, "moved", report.moved);
  Count(out, "deleted", report.deleted);
  Count(out, "failed", NewOnes(report.failed));
  out << '\n';
  for (const auto& [what, problems] : {std::pair{"failed", &report.failed}, {"note", &report.notes}}) {
    for (const FileProblem& problem : *problems) {
      if (!problem.known)
        out << what << ": " << Visible(problem.path) << ": " << Visible(problem.reason) << '\n';
    }
  }
  if (report.withheld_reason.empty()) return out.str();
  const bool one = report.withheld.size() == 1;
  out << Visible(report.library.folder) << ": " << Counted(report.withheld.size(), "row")
      << (one ? " was" : " were") << " kept: " << report.withheld_reason
      << " (lumivault index --accept-loss deletes " << (one ? "it" : "them") << ")\n";
  return out.str();
}

}  // namespace

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string TextOf(std::chrono::milliseconds time) {
  using std::chrono::duration_cast;
  const auto minutes = duration_cast<std::chrono::minutes>(time);
  if (minutes.count() > 0 && minutes == time)
    return Counted(static_cast<std::size_t>(minutes.count()), "minute");
  const auto seconds = duration_cast<std::chrono::seconds>(time);
  if (seconds == time) return Counted(static_cast<std::size_t>(seconds.count()), "second");
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << std::chrono::duration<double>(time).count() << " seconds";
  return out.str();
}

std::string WatchText(const WatchNews& news) {
  if (news.report) return RunText(*news.report);
  return Visible(news.folder) + ": " + Visible(news.text) + "\n";
}

Json::Value WatchJson(const WatchNews& news) {
  Json::Value json = news.report ? ReportJson(*news.report) : Json::Value(Json::objectValue);
  json["event"] = NameOf(news.event);
  SetBytes(json, "library", news.folder);
  if (!news.report) SetBytes(json, "text", news.text);
  return json;
}
