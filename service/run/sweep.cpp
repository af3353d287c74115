#include "run/sweep.h"

#include <string>
#include <unordered_set>
#include <vector>

#include "changes/library_catalogue.h"
#include "changes/survey.h"

namespace {

constexpr const char* kSweepFact = "sweep-loss";

}  // namespace

void KeepUnreached(MarkedRows& marked, const Plan& again, const SweepQuestion& question) {
  // The catalogue does not have the rows of other programs, so the mounts are compared as well.
  const MountRecord recorded = MountsInDatabase(question.catalogue);
  const MountRecord now = MountRecordOf(again.mounts);
  std::unordered_set<std::string> withheld;
  for (const WorkItem& item : again.withheld) withheld.insert(item.path);
  marked.kept += std::erase_if(marked.gone, [&](const WorkItem& item) {
    const std::string path = question.library.Below(item.path);
    return withheld.contains(item.path) || LiesInOne(again.unknown, path) ||
           (!question.accepts_loss && RecordedDevice(recorded, path) != RecordedDevice(now, path));
  });
}

LossVerdict AskAboutSweep(const MarkedRows& marked, const SweepQuestion& question) {
  LossQuestion loss;
  loss.fact = kSweepFact;
  for (const WorkItem& item : marked.gone) {
    if (item.kind != ItemKind::kFolder) loss.gone.push_back(question.library.Below(item.path));
  }
  loss.recorded = marked.rows;
  loss.accepted = question.accepts_loss;
  return AskLossBrake(loss, question.catalogue);
}
