#include "changes/unopened.h"

#include <set>
#include <sstream>
#include <string>

#include "common/display.h"

namespace {

constexpr const char* kFact = "unopened";

// In one line, whatever its name is.
std::string LineOf(const Library& library, const FileProblem& problem) {
  return Visible(library.Below(problem.path)) + "\t" + Visible(problem.reason);
}

std::set<std::string> LinesOf(const std::string& text) {
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

}  // namespace

void CompareUnopened(Catalogue& catalogue, const Library& library, std::vector<FileProblem>& failed,
                     bool part) {
  const std::string before = catalogue.facts().Find(kFact).value_or("");
  const std::set<std::string> known_lines = LinesOf(before);
  std::string now = part ? before : "";
  for (FileProblem& problem : failed) {
    if (problem.outcome != ItemOutcome::kUnopened) continue;
    const std::string line = LineOf(library, problem);
    problem.known = known_lines.contains(line);
    if (!part || !problem.known) now += line + "\n";
  }
  if (now != before) catalogue.facts().Put(kFact, now);
}
