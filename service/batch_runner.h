#ifndef SERVICE_BATCH_RUNNER_H_
#define SERVICE_BATCH_RUNNER_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "database_reader.h"
#include "log_capture.h"
#include "outcome.h"
#include "plugin.h"
#include "wire.h"
#include "work_item.h"
#include "write_turn.h"

// Takes batches through the plug-in: some files are read first, then written in transactions of at most 50
// ms, so that other processes get their turn at the database. What is reported is committed.
class BatchRunner {
 public:
  BatchRunner(const Plugin& plugin, Library library, LogCapture& log, Channel& channel, const WriteTurn& turn)
      : plugin_(plugin), library_(std::move(library)), log_(log), channel_(channel), turn_(turn) {}

  // False when the supervisor wants no more or is gone, or the database has failed; what was done by then is
  // committed and reported.
  [[nodiscard]] bool Run(const Batch& batch);
  // The database as a whole has failed, and no item: trying others would fail them all.
  const std::optional<Failure>& failure() const { return failure_; }

 private:
  // A file that was read.
  struct Prepared {
    Json::Value record;
    bool storable = true;
    bool refused = false;  // a link that is not followed
    bool readable = true;  // it could be opened
    bool late = false;     // it could not be read to its end in time
    std::string trouble;   // why it is not, or what is wrong with it all the same
    std::string fingerprint;
    std::string title;  // that the photo carries itself
    std::string place;  // of a video
  };

  // Each announces the item it turns to; nothing can be told apart afterwards without that.
  Prepared Prepare(std::size_t index);
  ItemResult Write(std::size_t index, Prepared& prepared);
  ItemResult CallForMove(const WorkItem& item, Prepared& prepared);
  ItemResult Call(const WorkItem& item, Prepared& prepared);
  ItemResult Sweep(const WorkItem& item);
  ItemResult CallForFolder(const WorkItem& item);
  ItemResult MoveFolder(const WorkItem& item);
  ItemResult Update(const WorkItem& item, Prepared& prepared);
  // STORED, when the row of ITEM is there.
  ItemResult WithRow(const WorkItem& item, ItemResult stored);
  // What of the photo's metadata is not in its rows, "" when nothing is lacking.
  std::string CutMetadata(const WorkItem& item);
  ItemResult MoveFile(const WorkItem& item, Prepared& prepared);
  ItemResult UpdateMoved(const WorkItem& item, Prepared& prepared);
  // The rows of `from`, if there are any, become those of `path`; RECORD describes it.
  ItemResult RenameRows(const WorkItem& item, Json::Value record);
  ItemResult DeleteFile(const WorkItem& item);
  ItemResult DeleteFolder(const WorkItem& item);
  // A result of the plug-in as ours.
  ItemResult Judge(int result, std::string trouble = "");
  // The library has rows of what was at this absolute path; nothing when it cannot be asked. What the plug-in
  // answers to a rename or a delete tells little: the rows tell.
  std::optional<bool> HasAlbum(const std::string& folder);
  std::optional<bool> HasRow(ItemKind kind, const std::string& path);
  // The text in "gps" of the row of the video at PATH, "" without; nothing when it cannot be asked.
  std::optional<std::string> StoredPlace(const std::string& path);
  // The place to be stored with the video: none where the row has one, since that may be a person's.
  std::string PlaceToStore(const WorkItem& item, const Prepared& prepared);
  std::optional<bool> Finds(const char* sql, const char* column, const std::string& key);
  // The rows of what was at PATH are not there any more, as RESULT says.
  ItemResult JudgeGone(int result, ItemKind kind, const std::string& path);
  DatabaseReader& Database();

  ItemResult Mark(const WorkItem& item);
  ItemResult Unmark();

  // Writes what is prepared from item FIRST on. False as for Run.
  [[nodiscard]] bool WritePrepared(std::size_t first);
  // One transaction from item FIRST on; the items that it took have their results in `results_`.
  void WriteTransaction(std::size_t first);
  void WriteItems(std::size_t first);
  // Ends the transaction with a generation of its own; false when it was not kept.
  [[nodiscard]] bool Commit();
  // Items of a transaction that was lost, each in one of its own.
  void RetryOneByOne(std::size_t first);
  ItemResult WriteAlone(std::size_t index);
  static ItemResult NotKept();
  ItemResult CannotAsk();
  // True, with the failure noted and the transaction given up, when the database has failed.
  bool DatabaseFailed();
  // The database has failed for the reason WHY.
  void GiveUp(const char* why);

  void Announce(std::size_t index);
  void AnnounceNoItem();
  // The supervisor sends nothing during a batch but the wish to stop; its end counts as one.
  bool StopWanted() const;

  const Plugin& plugin_;
  Library library_;
  LogCapture& log_;
  Channel& channel_;
  const WriteTurn& turn_;
  RunName name_;  // whose generation the database gets
  std::vector<WorkItem> items_;
  std::vector<Prepared> prepared_;
  std::vector<ItemResult> results_;         // of the current transaction
  std::vector<std::uint64_t> generations_;  // that it, or each of its items, has given the database
  std::optional<DatabaseReader> database_;  // shares the transaction
  bool connected_ = true;
  std::optional<Failure> failure_;
};

#endif  // SERVICE_BATCH_RUNNER_H_
