#include "changes/plan.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "changes/folder_stages.h"
#include "changes/library_catalogue.h"
#include "changes/moves.h"
#include "changes/out_of_reach.h"
#include "common/display.h"
#include "common/error_text.h"
#include "database/file_row.h"
#include "files/held_folder.h"

namespace {

bool HasLost(const Differences& differences) {
  return !differences.gone_files.empty() || !differences.gone_folders.empty();
}

class Planner {
 public:
  Planner(const Library& library, Catalogue& catalogue, const PlanOptions& options)
      : library_(library), catalogue_(catalogue), options_(options) {}

  Outcome<Plan> Make(Differences differences) {
    if (auto finished = FinishParking(differences); !finished) return finished.failure();
    plan_.mounts = differences.mounts;
    plan_.unknown = std::move(differences.unknown);
    plan_.counts = std::move(differences.counts);
    OutOfReach out_of_reach = options_.accepts_loss ? OutOfReach() : TakeHiding(differences);
    const std::vector<Move> folder_moves = TakeFolderMoves(differences);
    const auto file_moves = TakeFileMoves(differences, library_.folder, options_.stopped);
    if (!file_moves) return file_moves.failure();
    // What is gone was not told from what moved.
    if (options_.stopped && options_.stopped()) return Plan{};
    if (!options_.accepts_loss) TakeElsewhere(differences, out_of_reach);
    AskAboutGone(differences);
    if (auto taken = TakeRowless(differences.gone_files); !taken) return taken.failure();
    WithholdOutOfReach(out_of_reach);
    AddFolders(folder_moves, differences.folders);
    AddFileMoves(*file_moves);
    if (!options_.moves_alone) AddFiles(differences.files);
    AddDeletes(differences.gone_files, differences.gone_folders,
               plan_.verdict.holds ? plan_.withheld : plan_.deletes);
    return std::move(plan_);
  }

 private:
  // Which of the FILES have rows.
  Outcome<std::set<std::string>> PathsWithRows(const std::vector<CatalogueEntry>& files) const {
    std::set<std::string> paths;
    DatabaseReader database = DatabaseReader::Open(library_);
    for (const CatalogueEntry& file : files) {
      const auto has_row = HasFileRow(database, file.kind, library_.FileKey(file.path));
      if (!has_row) return Unreadable(database);
      if (*has_row) paths.insert(file.path);
    }
    return paths;
  }

  // A run that ended while rows were to be parked leaves both names in the catalogue; the database tells how
  // far it came.
  Outcome<Done> FinishParking(Differences& differences) {
    std::vector<CatalogueEntry> planned;
    for (const CatalogueEntry& file : differences.gone_files) {
      if (file.outcome == ItemOutcome::kPlanned) planned.push_back(file);
    }
    if (planned.empty()) return Done{};
    const auto with_rows = PathsWithRows(planned);
    if (!with_rows) return with_rows.failure();
    std::vector<FileStamp> under_way;
    for (const CatalogueEntry& file : planned) {
      if (with_rows->contains(file.path)) {
        under_way.push_back(file.stamp);
      } else {
        catalogue_.Remove(file.path, file.kind);
      }
    }
    std::erase_if(differences.gone_files, [&](const CatalogueEntry& file) {
      return file.outcome == ItemOutcome::kPlanned && !with_rows->contains(file.path);
    });
    const auto is_parked = [&](const CatalogueEntry& file) {
      return file.outcome != ItemOutcome::kPlanned &&
             std::any_of(under_way.begin(), under_way.end(),
                         [&](const FileStamp& stamp) { return stamp.SameObject(file.stamp); });
    };
    std::erase_if(differences.gone_files, is_parked);
    std::erase_if(differences.replaced_files, is_parked);
    return Done{};
  }

  void AskAboutGone(const Differences& differences) {
    LossQuestion question;
    for (const CatalogueEntry& file : differences.gone_files) question.gone.push_back(file.path);
    question.gone_folders = differences.gone_folders.size();
    question.recorded = differences.recorded_files;
    question.root_changed = RootChanged(catalogue_, library_);
    question.is_part = !options_.scope.is_whole();
    question.root_empty =
        question.is_part ? HasLost(differences) && HoldsNothing(library_) : differences.root_empty;
    question.accepted = options_.accepts_loss;
    plan_.verdict = AskLossBrake(question, catalogue_);
    plan_.withheld_reason = plan_.verdict.reason;
  }

  // They are forgotten when the others are deleted.
  Outcome<Done> TakeRowless(std::vector<CatalogueEntry>& gone) {
    std::vector<CatalogueEntry> unstored;
    for (const CatalogueEntry& file : gone) {
      if (file.outcome == ItemOutcome::kUnusable) unstored.push_back(file);
    }
    if (unstored.empty()) return Done{};
    const auto with_rows = PathsWithRows(unstored);
    if (!with_rows) return with_rows.failure();
    std::erase_if(gone, [&](const CatalogueEntry& file) {
      const bool rowless = file.outcome == ItemOutcome::kUnusable && !with_rows->contains(file.path);
      if (rowless) plan_.rowless.push_back(MakeItem(ItemAction::kDelete, file.kind, file.path, file.stamp));
      return rowless;
    });
    return Done{};
  }

  void WithholdOutOfReach(const OutOfReach& out_of_reach) {
    if (out_of_reach.empty()) return;
    const std::string reason = ReasonOf(out_of_reach, MountsInDatabase(catalogue_));
    plan_.withheld_reason += (plan_.verdict.holds ? "; " : "") + reason;
    for (const Arrival& file : out_of_reach.files) {
      plan_.withheld.push_back(MakeItem(ItemAction::kAdd, file.kind, file.path, file.stamp));
      plan_.hiding.insert(plan_.withheld.back().path);
    }
    for (const Arrival& folder : out_of_reach.folders)
      plan_.hiding.insert(library_.folder + "/" + folder.path);
    AddDeletes(out_of_reach.gone_files, out_of_reach.gone_folders, plan_.withheld);
  }

  WorkItem MakeItem(ItemAction action, ItemKind kind, const std::string& path, const FileStamp& stamp) const {
    WorkItem item;
    item.kind = kind;
    item.action = action;
    item.path = library_.folder + "/" + path;
    item.stage = stage_;
    item.stamp = stamp;
    return item;
  }

  WorkItem MakeMoveItem(const Move& move) const {
    WorkItem item =
        MakeItem(move.parks_rows ? ItemAction::kParkRows : ItemAction::kMove, move.kind, move.to, move.stamp);
    item.from = library_.folder + "/" + move.from;
    item.same_content = move.same_content;
    return item;
  }

  void AddFolders(const std::vector<Move>& moves, const std::deque<Arrival>& arrivals) {
    for (const Move& move : moves) plan_.items.push_back(MakeMoveItem(move));
    for (const Arrival& folder : arrivals) {
      // While a loss is not believed, what the folder was stays on record.
      if (folder.replaces && plan_.verdict.holds) continue;
      plan_.items.push_back(MakeItem(ItemAction::kAdd, ItemKind::kFolder, folder.path, folder.stamp));
    }
    stage_ = FolderStages(plan_.items).Assign();
  }

  void AddFileMoves(const std::vector<Move>& moves) {
    const std::uint32_t first = stage_;
    for (const Move& move : moves) {
      stage_ = first + move.step;
      plan_.items.push_back(MakeMoveItem(move));
    }
    ++stage_;
  }

  // There may be a million: each arrival goes as its item comes.
  void AddFiles(std::deque<Arrival>& files) {
    plan_.items.reserve(plan_.items.size() + files.size());
    for (; !files.empty(); files.pop_front()) {
      const Arrival& file = files.front();
      if (options_.unsettled && options_.unsettled(file.path)) continue;
      plan_.items.push_back(MakeItem(ItemAction::kAdd, file.kind, file.path, file.stamp));
    }
  }

  // Folders after their files, the deepest first.
  void AddDeletes(const std::vector<CatalogueEntry>& files, const std::vector<CatalogueEntry>& folders,
                  std::vector<WorkItem>& deletes) {
    for (const CatalogueEntry& file : files)
      deletes.push_back(MakeItem(ItemAction::kDelete, file.kind, file.path, file.stamp));
    ++stage_;
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder)
      deletes.push_back(MakeItem(ItemAction::kDelete, ItemKind::kFolder, folder->path, folder->stamp));
  }

  const Library& library_;
  Catalogue& catalogue_;
  PlanOptions options_;
  Plan plan_;
  std::uint32_t stage_ = 0;
};

}  // namespace

Outcome<Plan> MakePlan(const Library& library, Catalogue& catalogue, const PlanOptions& options) {
  auto differences = Survey(library, catalogue, options.scope).Run(options.stopped);
  if (!differences) return differences.failure();
  if (options.stopped && options.stopped()) return Plan{};
  // What is gone with the whole folder is not gone.
  if (!HeldFolder(library.folder))
    return Failure{ExitStatus::kFatal, AboutFile(library.folder, ErrorText(errno))};
  auto plan = Planner(library, catalogue, options).Make(std::move(*differences));
  if (catalogue.failure()) return *catalogue.failure();
  return plan;
}
