#include "batch_runner.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "album_name.h"
#include "cut_metadata.h"
#include "display.h"
#include "fingerprint.h"
#include "gone.h"
#include "lent_position.h"
#include "library.h"
#include "library_facts.h"
#include "people_merge_pause.h"
#include "platform/connection_lending.h"
#include "platform/files.h"
#include "platform/printed_metadata.h"
#include "probe/probe.h"
#include "queries_sql.h"
#include "reason_text.h"
#include "savepoint.h"
#include "title_choice.h"
#include "worker_memory.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestTransaction{50};
// The platform keeps the metadata of so many images: read further ahead, each would be parsed again when it
// is written.
constexpr std::size_t kReadAhead = 32;
constexpr unsigned kIndexType = 1;  // any kind of folder that concerns the plug-in

// What every photo folder is called on an appliance; the name of the library's folder is nobody's album. In a
// personal one the plug-in takes it for the root album, whose text is empty; in the shared one it stays.
constexpr const char* kPhotoFolderName = "photo";

// The database holds text alone.
constexpr const char* kNoTextName = "its name is not UTF-8";

// Before the name of rows that are about to be deleted.
constexpr const char* kHiddenPrefix = ".lumivault-gone-";

void AddNote(const std::string& note, ItemResult& result) {
  if (note.empty()) return;
  result.trouble += (result.trouble.empty() ? "" : "; ") + note;
}

bool LiesDirectlyIn(const std::string& path, const std::string& folder) {
  return path.rfind('/') == folder.size() && path.starts_with(folder);
}

constexpr const char* kNoRow = "it has no row: the plug-in takes it for no file of this library";

// A damaged picture that still shows something belongs into its owner's library.
bool Storable(const ProbeResult& probed) {
  const bool tells = probed.outcome == ProbeOutcome::kDamaged || probed.outcome == ProbeOutcome::kLate;
  return probed.outcome == ProbeOutcome::kOk || (tells && probed.media["resolutionX"].asInt() > 0);
}

// The plug-in goes on without a job that it cannot queue.
bool LosesJob(const std::vector<std::string>& messages) {
  constexpr std::array<std::string_view, 3> kLosses{"RLIBCFileLockByFile failed: ", "Failed to write ",
                                                    "Make ea dir path error."};
  return std::any_of(messages.begin(), messages.end(), [&](std::string_view message) {
    return std::any_of(kLosses.begin(), kLosses.end(),
                       [&](std::string_view loss) { return message.starts_with(loss); });
  });
}

// The rows are there. Sent again by the next run, the file gets its job; what has moved is not sent again.
void TakeJobLoss(const WorkItem& item, ItemResult& result) {
  constexpr const char* kNoJob = "its background job could not be queued";
  if (!item.from.empty()) return AddNote(kNoJob, result);
  result.outcome = ItemOutcome::kPartial;
  result.trouble = kNoJob;
}

// What is known is stored; the next run completes it.
void TakeLateness(ItemResult& result) {
  if (result.done()) result.outcome = ItemOutcome::kPartial;
}

// The file itself has to be read for it.
bool ReadsFile(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder) return false;
  return item.action == ItemAction::kAdd || item.action == ItemAction::kMove ||
         item.action == ItemAction::kReindex;
}

}  // namespace

bool BatchRunner::Run(const Batch& batch) {
  name_ = batch.name;
  items_ = batch.items;
  prepared_.clear();
  while (prepared_.size() < items_.size()) {
    const std::size_t first = prepared_.size();
    const std::size_t end = std::min(first + kReadAhead, items_.size());
    for (std::size_t i = first; i < end && !StopWanted(); ++i) prepared_.push_back(Prepare(i));
    if (!WritePrepared(first)) return false;
  }
  return channel_.Send(MessageType::kBatchEnd);
}

bool BatchRunner::WritePrepared(std::size_t first) {
  for (std::size_t done = first; done < prepared_.size(); done += results_.size()) {
    WriteTransaction(done);
    if (results_.empty()) return false;
    connected_ = connected_ &&
                 channel_.Send(MessageType::kResults,
                               EncodeResults({static_cast<std::uint32_t>(done), results_, generations_}));
    if (failure_ || StopWanted()) return false;
  }
  return !StopWanted();
}

BatchRunner::Prepared BatchRunner::Prepare(std::size_t index) {
  const WorkItem& item = items_[index];
  Prepared prepared;
  if (!ReadsFile(item)) return prepared;
  Announce(index);
  const MediaKind kind = item.kind == ItemKind::kPhoto ? MediaKind::kPhoto : MediaKind::kVideo;
  ProbeResult probed = ProbeFile(item.path, kind);
  prepared.storable = Storable(probed);
  prepared.refused = probed.outcome == ProbeOutcome::kRefused;
  prepared.readable = probed.outcome != ProbeOutcome::kUnreadable;
  prepared.late = probed.outcome == ProbeOutcome::kLate;
  prepared.trouble = ReasonForPeople(probed.reason);
  prepared.record = std::move(probed.media);
  prepared.title = std::move(probed.title);
  prepared.place = std::move(probed.place);
  if (LiesDirectlyIn(item.path, library_.folder)) prepared.record["szAlbum"] = kPhotoFolderName;
  if (!prepared.storable) return prepared;
  prepared.fingerprint = Fingerprint(item.path);
  if (kind == MediaKind::kPhoto) PrepareMetadataAnswers(item.path);
  return prepared;
}

void BatchRunner::WriteTransaction(std::size_t first) {
  results_.clear();
  generations_.clear();
  AnnounceNoItem();
  const WriteTurn::Holder turn(turn_);
  if (KAVODBBatchBegin() != 0) return GiveUp(KAVODBLentErrorGet());
  WriteItems(first);
  if (failure_) return results_.clear();
  AnnounceNoItem();
  if (Commit()) return;
  if (DatabaseFailed()) return results_.clear();
  RetryOneByOne(first);
}

bool BatchRunner::Commit() {
  const auto generation = RaiseGeneration(Database(), name_);
  if (!generation) {
    KAVODBBatchRollback();
    return false;
  }
  if (KAVODBBatchCommit() != 0) return false;
  generations_.push_back(*generation);
  return true;
}

void BatchRunner::WriteItems(std::size_t first) {
  const Clock::time_point start = Clock::now();
  for (std::size_t i = first; i < prepared_.size(); ++i) {
    results_.push_back(Write(i, prepared_[i]));
    if (DatabaseFailed()) return;
    if (Clock::now() - start >= kLongestTransaction || StopWanted()) return;
  }
}

ItemResult BatchRunner::Write(std::size_t index, Prepared& prepared) {
  const WorkItem& item = items_[index];
  // A file that cannot be opened today may be as it was: it is tried again.
  if (prepared.refused) return ItemResult::Skipped(prepared.trouble);
  if (!prepared.readable) return ItemResult::Unopened(prepared.trouble);
  if (prepared.late && (!prepared.storable || item.action == ItemAction::kMove))
    return ItemResult::Unopened(prepared.trouble);
  if (!prepared.storable && item.action != ItemAction::kMove) return ItemResult::Failed(prepared.trouble);
  Announce(index);
  static_cast<void>(log_.Take());
  const int mark = KAVODBBatchMark();
  ItemResult result = item.from.empty() ? Call(item, prepared) : CallForMove(item, prepared);
  // What a failed call took from side files is in no row.
  if (!result.done()) KAVODBBatchForgetRemovals(mark);
  if (result.done() && LosesJob(log_.Take())) TakeJobLoss(item, result);
  if (prepared.late) TakeLateness(result);
  result.fingerprint = prepared.fingerprint;
  return result;
}

// A move is made as a whole or not at all: what the plug-in clears or writes under the new name on the way
// would be in the way of the next attempt.
ItemResult BatchRunner::CallForMove(const WorkItem& item, Prepared& prepared) {
  Savepoint start(Database());
  if (!start.set()) return CannotAsk();
  ItemResult result = Call(item, prepared);
  if (result.done() && !start.Keep()) return CannotAsk();
  return result;
}

ItemResult BatchRunner::Call(const WorkItem& item, Prepared& prepared) {
  switch (item.action) {
    case ItemAction::kMark:
      return Mark(item);
    case ItemAction::kUnmark:
      return Unmark();
    case ItemAction::kNoteMounts:
      return NoteMounts(Database(), item.from) ? ItemResult::Stored() : CannotAsk();
    case ItemAction::kSweep:
      return Sweep(item);
    case ItemAction::kSetAside:
    case ItemAction::kRename:
      return RenameRows(item, Json::Value(Json::objectValue));
    case ItemAction::kAdd:
    case ItemAction::kMove:
    case ItemAction::kDelete:
    case ItemAction::kReindex:
      break;
  }
  if (item.kind == ItemKind::kFolder) return CallForFolder(item);
  if (item.action == ItemAction::kDelete) return DeleteFile(item);
  return item.action == ItemAction::kMove ? MoveFile(item, prepared) : Update(item, prepared);
}

// The sweep leaves the labels of what it takes; the delete of a file takes all that nobody carries any more.
ItemResult BatchRunner::Sweep(const WorkItem& item) {
  ItemResult swept = Judge(plugin_.IndexPostReindex(item.path.c_str()));
  if (!swept.done()) return swept;
  static_cast<void>(plugin_.IndexDelete((item.path + "/" + kHiddenPrefix).c_str()));
  return NoteMarked(Database(), false) ? swept : CannotAsk();
}

// Noted with the marks, so that a run that ends early leaves none that nobody knows of.
ItemResult BatchRunner::Mark(const WorkItem& item) {
  ItemResult marked = Judge(plugin_.IndexPreReindex(item.path.c_str()));
  if (!marked.done()) return marked;
  return NoteMarked(Database(), true) ? marked : CannotAsk();
}

ItemResult BatchRunner::Unmark() {
  return UnmarkRows(Database()) && NoteMarked(Database(), false) ? ItemResult::Stored() : CannotAsk();
}

ItemResult BatchRunner::CallForFolder(const WorkItem& item) {
  const char* path = item.path.c_str();
  if (item.action == ItemAction::kDelete) return DeleteFolder(item);
  if (item.path != library_.folder && NoAlbumReason(library_.Below(item.path)) != nullptr)
    return ItemResult::Stored();
  switch (item.action) {
    case ItemAction::kMove:
      return MoveFolder(item);
    case ItemAction::kReindex:
      // Its result is -1 whatever it did; the row tells.
      static_cast<void>(plugin_.IndexReindexDirUpdate(path));
      return Judge(item.path == library_.folder || HasAlbum(item.path) == true ? 0 : -1);
    default:
      return Judge(plugin_.IndexDirAdd(path));
  }
}

// A move whose old rows are not there any more was made by a run that could not note it.
ItemResult BatchRunner::MoveFolder(const WorkItem& item) {
  const auto recorded = HasAlbum(item.from);
  if (!recorded) return CannotAsk();
  if (*recorded) {
    const int result = plugin_.IndexDirRename(item.path.c_str(), item.from.c_str());
    ItemResult moved = JudgeGone(result, ItemKind::kFolder, item.from);
    if (!moved.done()) return moved;
  }
  return Judge(plugin_.IndexDirAdd(item.path.c_str()));
}

ItemResult BatchRunner::DeleteFolder(const WorkItem& item) {
  // It may be back since the scan, or out of reach.
  if (!IsGone(item.path, ItemKind::kFolder)) return ItemResult::NotKept("the folder is there again");
  return JudgeGone(plugin_.IndexDirDelete(item.path.c_str()), ItemKind::kFolder, item.path);
}

// The plug-in keeps the rows of a name that is there: where a folder bears it now, they go under another.
ItemResult BatchRunner::DeleteFile(const WorkItem& item) {
  if (RLIBCFileCheckDir(item.path.c_str()) != 1) {
    return JudgeGone(plugin_.IndexDelete(item.path.c_str()), item.kind, item.path);
  }
  WorkItem hidden = item;
  hidden.from = item.path;
  hidden.path.insert(item.path.rfind('/') + 1, kHiddenPrefix);
  ItemResult renamed = RenameRows(hidden, Json::Value(Json::objectValue));
  if (!renamed.done()) return renamed;
  return JudgeGone(plugin_.IndexDelete(hidden.path.c_str()), item.kind, hidden.path);
}

ItemResult BatchRunner::Update(const WorkItem& item, Prepared& prepared) {
  if (prepared.late) {
    // A row that is there may know more.
    const auto recorded = HasRow(item.kind, item.path);
    if (!recorded) return CannotAsk();
    if (*recorded) return ItemResult::Unopened(prepared.trouble);
  }
  std::optional<Savepoint> cleared;
  const std::string key = library_.FileKey(library_.Below(item.path));
  if (item.kind == ItemKind::kPhoto &&
      !ChooseTitle(Database(), key, prepared.title, prepared.record, cleared))
    return CannotAsk();
  const LentPosition position(item.path, PlaceToStore(item, prepared));
  const int result = item.action == ItemAction::kReindex
                         ? plugin_.IndexReindexUpdate_Json(&prepared.record, kIndexType)
                         : plugin_.IndexAdd_Json(&prepared.record, kIndexType);
  if (result < 0 && ValidUtf8(item.path) != item.path) return ItemResult::Failed(kNoTextName);
  ItemResult stored = Judge(result, prepared.trouble);
  if (cleared && stored.done() && !cleared->Keep()) return CannotAsk();
  if (stored.done() && item.kind == ItemKind::kPhoto) AddNote(CutMetadata(item), stored);
  return stored.done() ? WithRow(item, std::move(stored)) : stored;
}

std::string BatchRunner::CutMetadata(const WorkItem& item) {
  return CutMetadataNote(item.path, library_.FileKey(library_.Below(item.path)), Database());
}

// The plug-in answers the same for what it has stored and for what it takes for none of its files.
ItemResult BatchRunner::WithRow(const WorkItem& item, ItemResult stored) {
  const auto recorded = HasRow(item.kind, item.path);
  if (!recorded) return CannotAsk();
  return *recorded ? std::move(stored) : ItemResult::NotKept(kNoRow);
}

// The rename keeps what belongs to the row; what it leaves as it was (the album's name in the row, say) is
// made true by adding the file. The row of a video is made anew by its rename, which needs the file.
ItemResult BatchRunner::MoveFile(const WorkItem& item, Prepared& prepared) {
  const auto recorded = HasRow(item.kind, item.from);
  if (!recorded) return CannotAsk();
  if (!*recorded && !prepared.storable) return ItemResult::Failed(prepared.trouble);
  if (!prepared.storable && item.kind == ItemKind::kVideo) return ItemResult::NotKept(prepared.trouble);
  const Json::Value record = prepared.storable ? prepared.record : Json::Value(Json::objectValue);
  if (ItemResult moved = RenameRows(item, record); !moved.done()) return moved;
  return prepared.storable ? UpdateMoved(item, prepared) : ItemResult::Stored(prepared.trouble);
}

ItemResult BatchRunner::UpdateMoved(const WorkItem& item, Prepared& prepared) {
  std::optional<PeopleMergePause> pause;
  if (item.same_content && item.kind == ItemKind::kPhoto) pause.emplace(Database());
  if (pause && !pause->begun()) return CannotAsk();
  ItemResult result = Update(item, prepared);
  if (pause && !pause->End()) {
    KAVODBBatchRollback();
    return NotKept();
  }
  return result;
}

ItemResult BatchRunner::RenameRows(const WorkItem& item, Json::Value record) {
  const auto recorded = HasRow(item.kind, item.from);
  if (!recorded) return CannotAsk();
  if (!*recorded) return ItemResult::Stored();
  record["szPath"] = item.path;
  // The row of a video is written anew.
  const auto place = item.kind == ItemKind::kVideo ? StoredPlace(item.from) : std::optional<std::string>("");
  if (!place) return CannotAsk();
  const LentPosition position(item.path, *place);
  // What waits in side files at the new path is for the add that follows, or stays for a later one.
  const int mark = KAVODBBatchMark();
  const int result = plugin_.IndexRename_Json(&record, kIndexType, item.from.c_str());
  KAVODBBatchForgetRemovals(mark);
  return JudgeGone(result, item.kind, item.from);
}

ItemResult BatchRunner::Judge(int result, std::string trouble) {
  return result >= 0 ? ItemResult::Stored(std::move(trouble))
                     : ItemResult::NotKept(ReasonForPeople(ReasonOf(log_.Take())));
}

ItemResult BatchRunner::JudgeGone(int result, ItemKind kind, const std::string& path) {
  if (result < 0) return Judge(result);
  const auto left = kind == ItemKind::kFolder ? HasAlbum(path) : HasRow(kind, path);
  if (!left) return CannotAsk();
  return *left ? Judge(-1) : ItemResult::Stored();
}

ItemResult BatchRunner::CannotAsk() {
  return ItemResult::NotKept("the database cannot be read: " + Database().error());
}

DatabaseReader& BatchRunner::Database() {
  if (!database_ || !*database_) database_.emplace(DatabaseReader::Of(library_));
  return *database_;
}

std::optional<bool> BatchRunner::Finds(const char* sql, const char* column, const std::string& key) {
  const auto rows = Database().Query({column}, sql, key);
  return rows ? std::optional<bool>(!rows->empty()) : std::nullopt;
}

std::optional<std::string> BatchRunner::StoredPlace(const std::string& path) {
  const auto rows = Database().Query({"gps"}, kVideoSql, library_.FileKey(library_.Below(path)));
  if (!rows) return std::nullopt;
  return rows->empty() ? "" : rows->front().front().value_or("");
}

std::string BatchRunner::PlaceToStore(const WorkItem& item, const Prepared& prepared) {
  if (prepared.place.empty()) return "";
  const auto stored = StoredPlace(item.path);
  return stored && stored->empty() ? prepared.place : "";
}

std::optional<bool> BatchRunner::HasAlbum(const std::string& folder) {
  return Finds(kAlbumByNameSql, "shareid", library_.Below(folder));
}

std::optional<bool> BatchRunner::HasRow(ItemKind kind, const std::string& path) {
  return Finds(kind == ItemKind::kPhoto ? kHasPhotoSql : kHasVideoSql, "path",
               library_.FileKey(library_.Below(path)));
}

void BatchRunner::RetryOneByOne(std::size_t first) {
  const std::size_t count = results_.size();
  results_.clear();
  for (std::size_t i = first; i < first + count; ++i) {
    ItemResult result = WriteAlone(i);
    if (failure_) return;
    results_.push_back(std::move(result));
  }
}

ItemResult BatchRunner::WriteAlone(std::size_t index) {
  // The first attempt has completed the record in place.
  Prepared prepared = Prepare(index);
  AnnounceNoItem();
  if (KAVODBBatchBegin() != 0) {
    GiveUp(KAVODBLentErrorGet());
    return {};
  }
  ItemResult result = Write(index, prepared);
  if (DatabaseFailed()) return {};
  AnnounceNoItem();
  if (Commit()) return result;
  if (DatabaseFailed()) return {};
  return NotKept();
}

ItemResult BatchRunner::NotKept() {
  return ItemResult::NotKept(std::string("not kept by the database: ") + KAVODBLentErrorGet());
}

// Asked after every item: where the file is gone the plug-in would make another one for the next.
bool BatchRunner::DatabaseFailed() {
  const char* why = KAVODBLentFailureGet();
  if (why == nullptr) return false;
  KAVODBBatchRollback();
  GiveUp(why);
  return true;
}

void BatchRunner::GiveUp(const char* why) {
  const char* known = KAVODBLentFailureGet();
  failure_ =
      Failure{ExitStatus::kDatabase, Visible(library_.database()) + ": " + (known != nullptr ? known : why) +
                                         "; what was done before is kept"};
}

void BatchRunner::Announce(std::size_t index) {
  struct stat status {};
  const bool is_file = index != kNoItem && ReadsFile(items_[index]);
  AllowMapping(is_file && stat(items_[index].path.c_str(), &status) == 0
                   ? static_cast<std::uint64_t>(status.st_size)
                   : 0);
  const MessageWriter message = MessageWriter().Number(static_cast<std::uint32_t>(index));
  connected_ = connected_ && channel_.Send(MessageType::kAt, message.content());
}

void BatchRunner::AnnounceNoItem() {
  Announce(kNoItem);
}

bool BatchRunner::StopWanted() const {
  pollfd supervisor{channel_.descriptor(), POLLIN, 0};
  return !connected_ || poll(&supervisor, 1, 0) != 0;
}
