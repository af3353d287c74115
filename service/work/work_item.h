#ifndef SERVICE_WORK_WORK_ITEM_H_
#define SERVICE_WORK_WORK_ITEM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "common/item_kind.h"
#include "files/file_stamp.h"
#include "work/item_outcome.h"

// What a worker does with the plug-in.
enum class ItemAction : std::uint8_t {
  kAdd,
  kMove,      // the rows of `from` become those of `path`, which is then added
  kParkRows,  // the rows of `from` wait under the name `path`, which no file bears
  kRename,    // the rows of `from` become those of `path`, which cannot be read
  kDelete,
  kReindex,     // the second phase of a full reindex
  kMark,        // its first phase, `path` being the library
  kSweep,       // its third
  kUnmark,      // what an earlier one has left marked, `path` being the library
  kNoteMounts,  // `from` is the text of what the database has to know of the file systems below `path`
};

struct WorkItem {
  ItemKind kind = ItemKind::kPhoto;
  std::string path;  // absolute
  ItemAction action = ItemAction::kAdd;
  std::string from = {};      // absolute; the old path of what moved
  bool same_content = false;  // what moved was not changed

  // For the supervisor alone. Nothing of a later stage is begun before all of the earlier ones is done.
  std::uint32_t stage = 0;
  FileStamp stamp = {};
};

// Rows get another name.
inline bool IsMove(const WorkItem& item) {
  return item.action == ItemAction::kMove || item.action == ItemAction::kParkRows ||
         item.action == ItemAction::kRename;
}

// What concerns the library in FOLDER as a whole.
inline WorkItem WholeLibrary(const std::string& folder, ItemAction action) {
  return {ItemKind::kFolder, folder, action};
}

struct ItemResult {
  ItemOutcome outcome = ItemOutcome::kUnusable;
  // One line: why it is not stored, or what is lacking; else empty.
  std::string reason;
  std::string fingerprint = {};  // of the content, where it was read

  bool done() const { return IsStored(outcome); }
  // Something is lacking of what is stored, or more is wrong with what is not.
  void AddNote(const std::string& note) {
    if (note.empty()) return;
    reason += (reason.empty() ? "" : "; ") + note;
    if (outcome == ItemOutcome::kStored) outcome = ItemOutcome::kDamaged;
  }

  static ItemResult Stored(std::string lacking = "") {
    return {lacking.empty() ? ItemOutcome::kStored : ItemOutcome::kDamaged, std::move(lacking)};
  }
  static ItemResult Failed(std::string why) { return {ItemOutcome::kUnusable, std::move(why)}; }
  static ItemResult Crashed(std::string why) { return {ItemOutcome::kCrashed, std::move(why)}; }
  static ItemResult Unopened(std::string why) { return {ItemOutcome::kUnopened, std::move(why)}; }
  static ItemResult Skipped(std::string why) { return {ItemOutcome::kSkipped, std::move(why)}; }
  static ItemResult NotKept(std::string why) { return {ItemOutcome::kNotKept, std::move(why)}; }
};

// A worker gets this many at a time: enough to make one transaction of them worth while, few enough to be
// lost with it.
inline constexpr std::size_t kBatchSize = 32;

#endif  // SERVICE_WORK_WORK_ITEM_H_
