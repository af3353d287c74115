#include "changes/dry_run.h"

#include <stdlib.h>

#include <filesystem>
#include <sstream>
#include <utility>

#include "changes/library_catalogue.h"
#include "changes/plan.h"
#include "changes/survey.h"
#include "common/display.h"
#include "files/media_files.h"
#include "files/walk.h"

namespace fs = std::filesystem;

namespace {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code error;
    std::string name = (fs::temp_directory_path(error) / "lumivault-XXXXXX").string();
    if (!error && mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~ScratchFolder() {
    std::error_code error;
    if (!path_.empty()) fs::remove_all(path_, error);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

Outcome<Catalogue> OpenCopy(const ScratchFolder& scratch, const StateRoot& root, const Library& library,
                            bool accepts_loss) {
  if (scratch.path().empty()) return Failure{ExitStatus::kFatal, "no temporary folder can be made"};
  const std::string copy = scratch.path() + "/catalogue.db";
  // With the one of another database, which may be back or on its way, and the logs, which hold what was
  // committed last.
  for (const char* suffix : {"", "-wal", ".other", ".other-wal", ".exchange"}) {
    std::error_code error;
    const std::string original = CatalogueFile(root, library) + suffix;
    if (fs::exists(original, error)) fs::copy_file(original, copy + suffix, error);
    if (error) return Failure{ExitStatus::kConfiguration, AboutFile(original, error.message())};
  }
  return OpenLibraryCatalogue(copy, library, accepts_loss);
}

Outcome<std::vector<WorkItem>> WholeTree(const Library& library) {
  auto walk = Walk::Start(library.folder);
  if (!walk) return walk.failure();
  SurveyCounts unused_counts;
  std::vector<WorkItem> items;
  while (auto entry = walk->Next()) {
    if (!CountEntry(*entry, library, unused_counts)) continue;
    const bool folder = entry->kind == EntryKind::kFolder;
    const ItemKind kind = folder ? ItemKind::kFolder : *MediaKindOf(entry->path);
    items.push_back({kind, std::move(entry->path)});
  }
  return items;
}

const char* EventOf(const WorkItem& item) {
  switch (item.action) {
    case ItemAction::kMove:
    case ItemAction::kParkRows:
      return "move";
    case ItemAction::kDelete:
      return "delete";
    default:
      return "add";
  }
}

const char* KindOf(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder) return "folder";
  return item.kind == ItemKind::kPhoto ? "photo" : "video";
}

void WriteLine(const WorkItem& item, bool withheld, std::ostream& out) {
  out << (withheld ? "withheld: " : "") << EventOf(item) << ' ' << KindOf(item) << ' ';
  if (IsMove(item)) out << Visible(item.from) << " -> ";
  out << Visible(item.path) << '\n';
}

Json::Value EventJson(const WorkItem& item, bool withheld) {
  Json::Value json(Json::objectValue);
  json["event"] = EventOf(item);
  json["kind"] = KindOf(item);
  SetBytes(json, "path", item.path);
  if (IsMove(item)) SetBytes(json, "from", item.from);
  if (withheld) json["withheld"] = true;
  return json;
}

}  // namespace

Outcome<DryRun> TryRun(const StateRoot& root, const Library& library, bool accepts_loss) {
  const ScratchFolder scratch;
  auto catalogue = OpenCopy(scratch, root, library, accepts_loss);
  if (!catalogue) return catalogue.failure();
  if (IsFirstRun(*catalogue)) {
    auto items = WholeTree(library);
    if (!items) return items.failure();
    return DryRun{std::move(*items), {}, {}, ""};
  }
  auto plan = MakePlan(library, *catalogue, {accepts_loss, false});
  if (!plan) return plan.failure();
  return DryRun{std::move(plan->items), std::move(plan->deletes), std::move(plan->withheld),
                std::move(plan->withheld_reason)};
}

std::string DryRunText(const DryRun& run) {
  std::ostringstream out;
  for (const WorkItem& item : run.items) WriteLine(item, false, out);
  for (const WorkItem& item : run.deletes) WriteLine(item, false, out);
  for (const WorkItem& item : run.withheld) WriteLine(item, true, out);
  return out.str();
}

Json::Value DryRunJson(const DryRun& run) {
  Json::Value json(Json::arrayValue);
  for (const WorkItem& item : run.items) json.append(EventJson(item, false));
  for (const WorkItem& item : run.deletes) json.append(EventJson(item, false));
  for (const WorkItem& item : run.withheld) json.append(EventJson(item, true));
  return json;
}
