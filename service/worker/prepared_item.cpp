#include "worker/prepared_item.h"

#include <utility>

#include "files/fingerprint.h"
#include "platform/printed_metadata.h"
#include "probe/probe.h"
#include "worker/reason_text.h"

namespace {

// What every photo folder is called on an appliance; the name of the library's folder is nobody's album. In a
// personal one the plug-in takes it for the root album, whose text is empty; in the shared one it stays.
constexpr const char* kPhotoFolderName = "photo";

bool LiesDirectlyIn(const std::string& path, const std::string& folder) {
  return path.rfind('/') == folder.size() && path.starts_with(folder);
}

// A damaged picture that still shows something belongs into its owner's library.
bool Storable(const ProbeResult& probed) {
  const bool tells = probed.outcome == ProbeOutcome::kDamaged || probed.outcome == ProbeOutcome::kLate;
  return probed.outcome == ProbeOutcome::kOk || probed.outcome == ProbeOutcome::kSizeless ||
         (tells && probed.media["resolutionX"].asInt() > 0);
}

}  // namespace

bool ReadsFile(const WorkItem& item) {
  if (item.kind == ItemKind::kFolder) return false;
  return item.action == ItemAction::kAdd || item.action == ItemAction::kMove ||
         item.action == ItemAction::kReindex;
}

PreparedItem ReadItem(const WorkItem& item, const Library& library) {
  PreparedItem prepared;
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
  if (LiesDirectlyIn(item.path, library.folder)) prepared.record["szAlbum"] = kPhotoFolderName;
  if (!prepared.storable) return prepared;
  prepared.fingerprint = Fingerprint(item.path);
  if (kind == MediaKind::kPhoto) PrepareMetadataAnswers(item.path);
  return prepared;
}
