#ifndef SERVICE_FILES_OPEN_FOLDER_H_
#define SERVICE_FILES_OPEN_FOLDER_H_

#include <dirent.h>
#include <unistd.h>

#include <memory>
#include <string_view>

// Side files of the appliance; no photos are in there.
inline constexpr std::string_view kSideFolder = "@eaDir";

// A folder that is being listed, by one thread.
class OpenFolder {
 public:
  // DESCRIPTOR becomes the object's; a negative one gives no folder.
  explicit OpenFolder(int descriptor) : folder_(descriptor >= 0 ? fdopendir(descriptor) : nullptr) {
    if (folder_ == nullptr && descriptor >= 0) close(descriptor);
  }

  explicit operator bool() const { return folder_ != nullptr; }
  int descriptor() const { return dirfd(folder_.get()); }
  // The next name, null at the end.
  const dirent* Next() const { return readdir(folder_.get()); }

 private:
  struct Close {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  std::unique_ptr<DIR, Close> folder_;
};

#endif  // SERVICE_FILES_OPEN_FOLDER_H_
