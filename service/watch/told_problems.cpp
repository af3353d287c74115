#include "watch/told_problems.h"

#include <cstddef>
#include <utility>

namespace {

// Of more than these some are told again.
constexpr std::size_t kMostProblems = 10'000;

}  // namespace

void ToldProblems::Compare(std::vector<FileProblem>& found,
                           const std::function<bool(const std::string&)>& looked_at) {
  std::map<std::string, std::string> now;
  for (FileProblem& problem : found) {
    const auto told = reasons_.find(problem.path);
    if (told != reasons_.end() && told->second == problem.reason) problem.known = true;
    now.emplace(problem.path, problem.reason);
  }
  std::erase_if(reasons_,
                [&](const auto& told) { return now.contains(told.first) || looked_at(told.first); });
  for (auto& problem : now) {
    if (reasons_.size() < kMostProblems) reasons_.insert(std::move(problem));
  }
}
