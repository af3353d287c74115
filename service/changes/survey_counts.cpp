#include "changes/survey_counts.h"

#include <iterator>
#include <utility>

void SurveyCounts::Add(SurveyCounts&& others) {
  found += others.found;
  unchanged += others.unchanged;
  for (const auto& [reason, count] : others.skipped) skipped[reason] += count;
  std::move(others.failed.begin(), others.failed.end(), std::back_inserter(failed));
  std::move(others.notes.begin(), others.notes.end(), std::back_inserter(notes));
}
