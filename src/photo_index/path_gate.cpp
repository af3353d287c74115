#include "photo_index/path_gate.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"
#include "base/export_guard.h"
#include "base/log.h"
#include "base/path_below.h"
#include "base/text.h"
#include "lumivault/photo_index.h"
#include "lumivault/photo_util.h"
#include "lumivault/request_context.h"
#include "photo_util/photo_dir.h"
#include "platform/files.h"
#include "platform/index.h"
#include "platform/share.h"

namespace {

constexpr const char* kHomesShare = "homes";
constexpr mode_t kModeForEverybody = 0777;
// The service's kinds of indexed folders that hold photos.
constexpr std::array kIndexTypes = {1U, 2U, 4U, 5U};

// A share record of the platform.
class Share {
 public:
  explicit Share(const char* name) {
    if (KAVOShareGet(name, &record_) != 0) record_ = nullptr;
  }
  ~Share() {
    if (record_ != nullptr) KAVOShareFree(record_);
  }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  bool HasPath(const char* path) const {
    return record_ != nullptr && EqualsIgnoreAsciiCase(record_->szPath, path);
  }

 private:
  KAVOSHARE* record_ = nullptr;
};

bool IsPhotoIndexType(unsigned index_type) {
  return std::find(kIndexTypes.begin(), kIndexTypes.end(), index_type) != kIndexTypes.end();
}

int IsIndexPath(const char* path, unsigned index_type) {
  if (IsEmpty(path)) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  // Asked apart from the scope below: a refused path is a failure for every kind of folder, not only for
  // ours.
  if (HGAStatusCheck(path) < 0) return -1;
  if (!IsPhotoIndexType(index_type) || CheckRequest(path) != RequestScope::kOurs) return 0;
  return IndexIsPathRemoteOrImageMount(path) ? 0 : 1;
}

int IsShareIndexed(const char* path) {
  if (IsEmpty(path)) {
    LOG_COLON(kPhotoIndexSource, "Bad parameter.");
    return -1;
  }
  if (Share(kHomesShare).HasPath(path)) return 1;
  return CheckRequest(path) == RequestScope::kOurs ? 1 : 0;
}

}  // namespace

bool LiesInSharedTree(const char* path) {
  const char* root = PhotoUtilPhotoDirGet();
  return root != nullptr && LiesIn(path, root);
}

RequestScope CheckRequest(const char* path) {
  if (HGAStatusCheck(path) < 0) return RequestScope::kRefused;
  if (HGAStatusIsHGARequest() || LiesInSharedTree(path)) return RequestScope::kOurs;
  return RequestScope::kElsewhere;
}

void OpenToEverybody(const char* path) {
  const auto root = PhotoRootIn(path);
  if (root) static_cast<void>(KAVOBeneathMode(root->c_str(), path, kModeForEverybody));
}

int IndexIsIndexPath(const char* path, unsigned indexType) {
  return Guarded(kPhotoIndexSource, -1, [&] { return IsIndexPath(path, indexType); });
}

int IndexIsShareIndexed(const char* path) {
  return Guarded(kPhotoIndexSource, -1, [&] { return IsShareIndexed(path); });
}
