#include "batch_runner.h"

#include <poll.h>

#include <algorithm>

#include "platform/connection_lending.h"
#include "probe/probe.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestTransaction{50};
// The platform keeps the metadata of so many images: read further ahead, each would be parsed again when it
// is written.
constexpr std::size_t kReadAhead = 16;
constexpr unsigned kIndexType = 1;  // any kind of folder that concerns the plug-in

// What every personal photo folder is called on an appliance. The plug-in takes that album name for the root
// album, whose text is empty; the name of the library's folder is nobody's album.
constexpr const char* kPhotoFolderName = "photo";

bool LiesDirectlyIn(const std::string& path, const std::string& folder) {
  return path.rfind('/') == folder.size() && path.starts_with(folder);
}

// A damaged picture that still shows something belongs into its owner's library.
bool Storable(const ProbeResult& probed) {
  return probed.outcome == ProbeOutcome::kOk ||
         (probed.outcome == ProbeOutcome::kDamaged && probed.media["resolutionX"].asInt() > 0);
}

}  // namespace

bool BatchRunner::Run(const std::vector<WorkItem>& items) {
  items_ = items;
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
    connected_ = connected_ && channel_.Send(MessageType::kResults,
                                             EncodeResults({static_cast<std::uint32_t>(done), results_}));
    if (StopWanted()) return false;
  }
  return !StopWanted();
}

BatchRunner::Prepared BatchRunner::Prepare(std::size_t index) {
  const WorkItem& item = items_[index];
  Prepared prepared;
  if (item.kind == ItemKind::kFolder) return prepared;
  Announce(index);
  const MediaKind kind = item.kind == ItemKind::kPhoto ? MediaKind::kPhoto : MediaKind::kVideo;
  ProbeResult probed = ProbeFile(item.path, kind);
  prepared.storable = Storable(probed);
  prepared.trouble = std::move(probed.reason);
  prepared.record = std::move(probed.media);
  if (LiesDirectlyIn(item.path, library_)) prepared.record["szAlbum"] = kPhotoFolderName;
  return prepared;
}

void BatchRunner::WriteTransaction(std::size_t first) {
  results_.clear();
  AnnounceNoItem();
  if (KAVODBBatchBegin() != 0) return RetryOneByOne(first);
  WriteItems(first);
  AnnounceNoItem();
  if (KAVODBBatchCommit() != 0) RetryOneByOne(first);
}

void BatchRunner::WriteItems(std::size_t first) {
  const Clock::time_point start = Clock::now();
  for (std::size_t i = first; i < prepared_.size(); ++i) {
    results_.push_back(Write(i, prepared_[i]));
    if (Clock::now() - start >= kLongestTransaction || StopWanted()) return;
  }
}

ItemResult BatchRunner::Write(std::size_t index, Prepared& prepared) {
  if (!prepared.storable) return ItemResult::Failed(prepared.trouble);
  const WorkItem& item = items_[index];
  Announce(index);
  static_cast<void>(log_.Take());
  const int mark = KAVODBBatchMark();
  const int result = item.kind == ItemKind::kFolder ? plugin_.IndexDirAdd(item.path.c_str())
                                                    : plugin_.IndexAdd_Json(&prepared.record, kIndexType);
  if (result >= 0) return ItemResult::Stored(prepared.trouble);
  // What the call took from side files is in no row.
  KAVODBBatchForgetRemovals(mark);
  return ItemResult::Failed(ReasonOf(log_.Take()));
}

void BatchRunner::RetryOneByOne(std::size_t first) {
  const std::size_t count = std::max<std::size_t>(results_.size(), 1);
  results_.clear();
  for (std::size_t i = first; i < first + count; ++i) results_.push_back(WriteAlone(i));
}

ItemResult BatchRunner::WriteAlone(std::size_t index) {
  // The first attempt has completed the record in place.
  Prepared prepared = Prepare(index);
  AnnounceNoItem();
  if (KAVODBBatchBegin() != 0) return NotKept();
  ItemResult result = Write(index, prepared);
  AnnounceNoItem();
  if (KAVODBBatchCommit() != 0) return NotKept();
  return result;
}

ItemResult BatchRunner::NotKept() {
  return ItemResult::Failed(std::string("not kept by the database: ") + KAVODBLentErrorGet());
}

void BatchRunner::Announce(std::size_t index) {
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
